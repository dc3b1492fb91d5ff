#include "ui/kit/alert.h"

#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QShowEvent>
#include <QTimer>
#include <QWindow>

#include <chrono>
#include <optional>

#include "engine/text.h"
#include "ui/kit/alert_place.h"
#include "ui/kit/buttons.h"
#include "ui/kit/frame.h"
#include "ui/kit/icns.h"
#include "ui/kit/look.h"
#include "ui/kit/ui_text.h"

namespace talvane {
namespace {

QPointer<QMessageBox>& openAlert() {
  static QPointer<QMessageBox> alert;
  return alert;
}

class AlertBox final : public QMessageBox {
 public:
  AlertBox(const AlertSite& site, const QString& text);
  QPushButton* add(const QString& text, ButtonRole role);

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  [[nodiscard]] std::optional<Frame> panel() const;

  AlertSite site_;
};

AlertBox::AlertBox(const AlertSite& site, const QString& text)
    : QMessageBox(site.panel), site_(site) {
  const QString title = QLatin1String(Alert::title);
  setWindowTitle(title);
  setWindowIcon(applicationIcon());
  setIconPixmap(applicationIcon().pixmap(QSize(64, 64), devicePixelRatioF()));
  setText(title);
  setInformativeText(QString::fromStdString(printableLines(text.toStdString())));
  // The message box's own names for its labels.
  if (auto* heading = findChild<QLabel*>(QStringLiteral("qt_msgbox_label"))) {
    QFont font = heading->font();
    font.setBold(true);
    heading->setFont(font);
  }
  if (auto* body = findChild<QLabel*>(QStringLiteral("qt_msgbox_informativelabel"))) {
    body->setTextFormat(Qt::PlainText);
    // Screen readers read in this order.
    if (auto* buttons = findChild<QDialogButtonBox*>()) body->stackUnder(buttons);
  }
  // A comfortable line length.
  if (auto* grid = qobject_cast<QGridLayout*>(layout())) {
    grid->setColumnMinimumWidth(grid->columnCount() - 1, 260);
    // The icon beside the buttons too: it must not stretch the rows of a short text.
    if (auto* icon = findChild<QLabel*>(QStringLiteral("qt_msgboxex_icon_label"))) {
      grid->removeWidget(icon);
      grid->addWidget(icon, 0, 0, grid->rowCount(), 1, Qt::AlignTop);
    }
  }
  setWindowModality(Qt::ApplicationModal);  // first: it resets the kind of window
  // Some window managers choose the place of every dialog themselves, but not of a tool window.
  const Qt::WindowType kind = panel() ? Qt::Tool : Qt::Dialog;
  setWindowFlags(kind | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint |
                 Qt::WindowStaysOnTopHint);
  setAttribute(Qt::WA_MacAlwaysShowToolWindow);
}

QPushButton* AlertBox::add(const QString& text, ButtonRole role) {
  auto* button = new AlertButton(text);
  addButton(button, role);
  return button;
}

std::optional<Frame> AlertBox::panel() const {
  if (site_.panel == nullptr || !site_.panel->isVisible()) return std::nullopt;
  return frameOf(site_.panel->geometry());
}

void AlertBox::showEvent(QShowEvent* event) {
  // Gives the box its size. It is not on the screen yet.
  QMessageBox::showEvent(event);
  if (event->spontaneous()) return;
  const Place place = alertPlace(site_.area, panel(), width(), height());
  // At the last moment: the toolkit still sets the place, and not that of the frame, after this.
  QWindow* window = windowHandle();
  connect(window, &QWindow::visibleChanged, window, [window, place](bool visible) {
    if (visible) window->setFramePosition(QPoint(place.x, place.y));
  });
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

Alert::Result Alert::ask(const AlertSite& site, const QString& text) {
  AlertBox box(site, text);
  QPushButton* yes = box.add(uiText("YES"), AlertBox::AcceptRole);
  QPushButton* no = box.add(uiText("NO"), AlertBox::RejectRole);
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

void Alert::tell(const AlertSite& site, const QString& text) {
  AlertBox box(site, text);
  QPushButton* ok = box.add(uiText("OK"), AlertBox::AcceptRole);
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
