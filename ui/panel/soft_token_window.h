#pragma once

#include <QPointF>
#include <QWidget>
#include <functional>

#include "ui/panel/panel_geometry.h"

class QMimeData;

namespace talvane {

/// One view's own window: borderless, above others, able to take the keyboard, and not draggable.
/// It belongs to the one who makes it; its content view belongs to it.
class SoftTokenWindow : public QWidget {
 public:
  /// Only the rectangle counts; every window of this kind has the same style.
  explicit SoftTokenWindow(const Frame& content_rectangle);

  /// The view that fills the window. Setting one hands back the one before, with its parent and
  /// place left to the caller.
  [[nodiscard]] QWidget* contentView() const { return content_view_; }
  QWidget* setContentView(QWidget* view);

  /// Gives back what the window system holds for a window that is not shown.
  void releaseSystemWindow() { destroy(); }

  /// Where the button was last pressed, in the window.
  [[nodiscard]] QPointF initialLocation() const { return initial_location_; }
  void setInitialLocation(QPointF location) { initial_location_ = location; }

  /// The window's frame with the origin in its lower left corner, on the screen.
  [[nodiscard]] Place frameOrigin() const;
  void setFrameOrigin(Place origin);
  /// Where its upper edge was last put, from the screen's upper edge, growing downwards. What the
  /// window itself says of its place comes late.
  [[nodiscard]] int topOnScreen() const { return top_on_screen_; }
  void setTopOnScreen(int top);

  // What the panel does with keys, the wheel and what is dropped on it. True: done with.
  std::function<bool(QKeyEvent&)> key_pressed;
  std::function<void(int points)> wheel_turned;
  std::function<void(const QMimeData&)> dropped;
  /// The window manager was told to close it.
  std::function<void()> closed_by_user;

 protected:
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;
  void closeEvent(QCloseEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  QWidget* content_view_ = nullptr;
  QPointF initial_location_;
  int top_on_screen_ = 0;
};

/// The screen that the panel opens on: its origin and size on the desktop.
QRect mainScreen();
ScreenSize mainScreenSize();

}  // namespace talvane
