#pragma once

// Views for the panel's layout. Coordinates start at the upper left corner and grow downwards.

#include <QPixmap>
#include <QWidget>

#include "ui/kit/frame.h"

namespace talvane {

/// A container of other views.
class FlippedView : public QWidget {
 public:
  explicit FlippedView(const Frame& frame, QWidget* parent = nullptr);
};

/// An image at its natural size, which may hold other views.
class FlippedImageView : public QWidget {
 public:
  FlippedImageView(const Frame& frame, QPixmap image, QWidget* parent);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QPixmap image_;
};

/// Repeats an image from the view's origin, whichever part is redrawn.
class TiledImageView : public QWidget {
 public:
  TiledImageView(const Frame& frame, QWidget* parent);
  /// Shares the image.
  void setImage(const QPixmap& image);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QPixmap _image;
};

}  // namespace talvane
