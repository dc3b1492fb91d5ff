#include "ui/kit/look.h"

#include <QApplication>
#include <QFontDatabase>
#include <QPalette>
#include <QStyleFactory>

#include "engine/vane.h"
#include "ui/kit/frame.h"

namespace talvane {
namespace {

QPalette panelPalette() {
  QPalette palette(paint::tile);
  palette.setColor(QPalette::Window, paint::tile);
  palette.setColor(QPalette::Button, QColor(0x3d, 0x43, 0x4c));
  palette.setColor(QPalette::WindowText, paint::text);
  palette.setColor(QPalette::ButtonText, paint::text);
  palette.setColor(QPalette::Base, Qt::white);
  palette.setColor(QPalette::Text, Qt::black);
  palette.setColor(QPalette::PlaceholderText, QColor(0x60, 0x66, 0x70));
  palette.setColor(QPalette::Highlight, QColor(0x27, 0x5a, 0xa8));
  palette.setColor(QPalette::HighlightedText, Qt::white);
  palette.setColor(QPalette::Link, paint::focus);
  return palette;
}

}  // namespace

void applyLook() {
  QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
  QApplication::setPalette(panelPalette());
}

QRect rectangle(const Frame& frame) {
  return {frame.x, frame.y, frame.width, frame.height};
}

Frame frameOf(const QRect& rectangle) {
  return {rectangle.x(), rectangle.y(), rectangle.width(), rectangle.height()};
}

QColor colour(const Colour& colour) {
  return QColor::fromRgbF(colour.red, colour.green, colour.blue);
}

QPixmap artwork(const QString& name, const QWidget& shown_on) {
  const QString path = QStringLiteral(":/softtoken/") + name;
  if (shown_on.devicePixelRatioF() > 1) {
    QString twice = path;
    twice.insert(path.lastIndexOf(QLatin1Char('.')), QStringLiteral("@2x"));
    QPixmap sharp(twice);
    if (!sharp.isNull()) {
      sharp.setDevicePixelRatio(2);
      return sharp;
    }
  }
  return QPixmap(path);
}

QFont panelFont(int size, bool bold) {
  QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
  font.setPixelSize(size);
  font.setBold(bold);
  return font;
}

}  // namespace talvane
