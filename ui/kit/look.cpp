#include "ui/kit/look.h"

#include <QFontDatabase>
#include <QFontMetricsF>

#include <cmath>

#include "engine/vane.h"
#include "ui/kit/frame.h"

namespace talvane {

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

void drawLine(QPainter& painter, const QRectF& band, Qt::Alignment side, const QString& text) {
  const QFontMetricsF metrics(painter.font(), painter.device());
  const qreal scale = painter.device()->devicePixelRatioF();
  const auto onPixel = [scale](qreal place) { return std::round(place * scale) / scale; };
  const qreal baseline = onPixel(band.center().y() + metrics.capHeight() / 2);
  const qreal rest = band.width() - metrics.horizontalAdvance(text);
  const qreal before = side.testFlag(Qt::AlignHCenter) ? onPixel(rest / 2)
                       : side.testFlag(Qt::AlignRight) ? rest
                                                       : 0;
  painter.drawText(QPointF(band.left() + before, baseline), text);
}

QFont panelFont(int size, bool bold) {
  QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
  font.setPixelSize(size);
  font.setBold(bold);
  return font;
}

}  // namespace talvane
