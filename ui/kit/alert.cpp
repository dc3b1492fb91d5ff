#include "ui/kit/alert.h"

#include <QGridLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QTimer>

#include <chrono>

#include "engine/text.h"
#include "ui/kit/icns.h"

namespace talvane {
namespace {

QPointer<QMessageBox>& openAlert() {
  static QPointer<QMessageBox> alert;
  return alert;
}

void dress(QMessageBox& box, const QString& text) {
  const QString title = QLatin1String(Alert::title);
  box.setWindowTitle(title);
  box.setWindowIcon(applicationIcon());
  box.setIconPixmap(applicationIcon().pixmap(QSize(64, 64), box.devicePixelRatioF()));
  box.setText(title);
  box.setInformativeText(QString::fromStdString(printableLines(text.toStdString())));
  // The message box's own names for its labels.
  if (auto* heading = box.findChild<QLabel*>(QStringLiteral("qt_msgbox_label"))) {
    QFont font = heading->font();
    font.setBold(true);
    heading->setFont(font);
  }
  if (auto* body = box.findChild<QLabel*>(QStringLiteral("qt_msgbox_informativelabel"))) {
    body->setTextFormat(Qt::PlainText);
  }
  // A comfortable line length.
  if (auto* grid = qobject_cast<QGridLayout*>(box.layout())) {
    grid->setColumnMinimumWidth(grid->columnCount() - 1, 260);
  }
  box.setWindowFlag(Qt::WindowStaysOnTopHint);
  box.setWindowModality(Qt::ApplicationModal);
}

void run(QMessageBox& box) {
  const QPointer<QMessageBox> outer = openAlert();
  openAlert() = &box;
  box.exec();
  openAlert() = outer;
  // Not every window manager returns the keyboard focus by itself.
  if (QWidget* above = box.parentWidget(); above != nullptr && above->isVisible()) {
    above->raise();
    above->activateWindow();
  }
}

}  // namespace

Alert::Result Alert::ask(QWidget* above, const QString& text) {
  QMessageBox box(above);
  dress(box, text);
  QPushButton* yes = box.addButton(QStringLiteral("YES"), QMessageBox::AcceptRole);
  QPushButton* no = box.addButton(QStringLiteral("NO"), QMessageBox::RejectRole);
  box.setDefaultButton(no);
  box.setEscapeButton(no);
  if (yes_delay > std::chrono::milliseconds::zero()) {
    yes->setEnabled(false);
    QTimer::singleShot(yes_delay, yes, [yes] { yes->setEnabled(true); });
  }
  run(box);
  if (box.clickedButton() == yes) return Result::alternate_return;
  return box.clickedButton() == no ? Result::default_return : Result::other;
}

void Alert::tell(QWidget* above, const QString& text) {
  QMessageBox box(above);
  dress(box, text);
  QPushButton* ok = box.addButton(QStringLiteral("OK"), QMessageBox::AcceptRole);
  box.setDefaultButton(ok);
  box.setEscapeButton(ok);
  run(box);
}

bool Alert::isOpen() {
  if (openAlert().isNull()) return false;
  openAlert()->raise();
  openAlert()->activateWindow();
  return true;
}

}  // namespace talvane
