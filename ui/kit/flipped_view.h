#pragma once

// What the panel is laid out in. Coordinates grow downwards from the upper left corner.

#include <QPixmap>
#include <QWidget>

#include "ui/kit/frame.h"

namespace talvane {

/// A container of other views.
class FlippedView : public QWidget {
 public:
  explicit FlippedView(const Frame& frame, QWidget* parent = nullptr);
};

/// An image at its natural size, with other views on it.
class FlippedImageView : public QWidget {
 public:
  FlippedImageView(const Frame& frame, QPixmap image, QWidget* parent);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QPixmap image_;
};

/// Repeats an image from its origin, whatever part is redrawn.
class TiledImageView : public QWidget {
 public:
  TiledImageView(const Frame& frame, QWidget* parent);
  /// Keeps a reference of its own.
  void setImage(const QPixmap& image);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QPixmap _image;
};

}  // namespace talvane
