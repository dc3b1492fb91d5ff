#pragma once

#include <QImage>
#include <QWidget>

namespace talvane::test {

/// The widget on a ground of its own colour.
inline QImage drawn(QWidget& widget) {
  QImage image(widget.size(), QImage::Format_RGB32);
  image.fill(Qt::magenta);
  widget.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
  return image;
}

}  // namespace talvane::test
