#pragma once

#include <QColor>
#include <QPainter>
#include <QRectF>

#include "ui/kit/look.h"

namespace talvane {

/// The ring that marks the widget with the keyboard focus, within `around`.
inline void drawFocusRing(QPainter& painter, const QRectF& around, qreal radius,
                          const QColor& colour = paint::focus) {
  painter.setPen(QPen(colour, 2));
  painter.setBrush(Qt::NoBrush);
  painter.drawRoundedRect(around.adjusted(1, 1, -1, -1), radius, radius);
}

}  // namespace talvane
