#include "ui/kit/flipped_view.h"

#include <QPainter>

#include <utility>

#include "ui/kit/frame.h"
#include "ui/kit/look.h"

namespace talvane {

FlippedView::FlippedView(const Frame& frame, QWidget* parent) : QWidget(parent) {
  setGeometry(rectangle(frame));
}

FlippedImageView::FlippedImageView(const Frame& frame, QPixmap image, QWidget* parent)
    : QWidget(parent), image_(std::move(image)) {
  setGeometry(rectangle(frame));
}

void FlippedImageView::paintEvent(QPaintEvent* /*event*/) {
  QPainter(this).drawPixmap(0, 0, image_);
}

TiledImageView::TiledImageView(const Frame& frame, QWidget* parent) : QWidget(parent) {
  setGeometry(rectangle(frame));
}

void TiledImageView::setImage(const QPixmap& image) {
  _image = image;
  update();
}

void TiledImageView::paintEvent(QPaintEvent* /*event*/) {
  // Painting is clipped to the redrawn part, but the pattern starts at the view's origin.
  QPainter(this).drawTiledPixmap(rect(), _image);
}

}  // namespace talvane
