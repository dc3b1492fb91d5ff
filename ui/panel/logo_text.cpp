#include "ui/panel/logo_text.h"

#include <QPainter>
#include <QPixmap>

#include "ui/kit/frame.h"
#include "ui/kit/look.h"

namespace talvane {
namespace {

constexpr Frame logo_text_frame{36, 0, 202, 34};  // between the shield and the close button
constexpr QRectF field(0.5, 6.5, 201, 21);
constexpr qreal corner = 5;
constexpr QPointF lens(13, 15.5);
constexpr qreal lens_radius = 4;
constexpr int text_left = 25;
constexpr int text_right = 8;

}  // namespace

LogoText::LogoText(QWidget* parent) : QLabel(parent) {
  setObjectName(QStringLiteral("bg_logo_text"));
  setTextFormat(Qt::PlainText);
  setGeometry(rectangle(logo_text_frame));
  setFont(panelFont(13));
}

void LogoText::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  // The band without the name: it is the same all along.
  const QPixmap band = artwork(QStringLiteral("logo260x34.png"), *this);
  painter.drawPixmap(QRectF(rect()), band, QRectF(0, 0, 1, band.height()));
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(QColor(255, 255, 255, 60));
  painter.setBrush(QColor(0x1c, 0x1e, 0x22));
  painter.drawRoundedRect(field, corner, corner);
  painter.setPen(QPen(paint::quiet_text, 1.5));
  painter.setBrush(Qt::NoBrush);
  painter.drawEllipse(lens, lens_radius, lens_radius);
  const QPointF handle = lens + QPointF(3, 3);
  painter.drawLine(handle, handle + QPointF(3.5, 3.5));
  painter.setPen(paint::text);
  painter.setFont(font());
  const QRect room = rect().adjusted(text_left, 0, -text_right, 0);
  // The end, where the user types.
  drawLine(painter, room, Qt::AlignLeft,
           fontMetrics().elidedText(text(), Qt::ElideLeft, room.width()));
}

}  // namespace talvane
