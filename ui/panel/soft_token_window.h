#pragma once

#include <QPointF>
#include <QWidget>

#include <functional>

#include "ui/kit/frame.h"
#include "ui/panel/panel_geometry.h"

class QMimeData;

namespace talvane {

/// A view's window: borderless, above others, takes the keyboard focus, cannot be dragged. Its
/// creator owns it; it owns its content view.
class SoftTokenWindow : public QWidget {
 public:
  /// Uses only the rectangle: every window of this class has the same style.
  explicit SoftTokenWindow(const Frame& content_rectangle);

  /// The view that fills the window. Setting a new one returns the old one, whose parent and place
  /// the caller sets.
  [[nodiscard]] QWidget* contentView() const { return content_view_; }
  QWidget* setContentView(QWidget* view);

  /// Frees what the window system holds for a hidden window.
  void releaseSystemWindow() { destroy(); }

  /// Where the mouse button was last pressed, in the window.
  [[nodiscard]] QPointF initialLocation() const { return initial_location_; }
  void setInitialLocation(QPointF location) { initial_location_ = location; }

  /// The window's frame on the screen; the origin is the lower left corner.
  [[nodiscard]] Place frameOrigin() const;
  void setFrameOrigin(Place origin);
  /// Where its upper edge was last placed, measured down from the screen's upper edge. The window's
  /// own position is updated late.
  [[nodiscard]] int topOnScreen() const { return top_on_screen_; }
  void setTopOnScreen(int top);

  // How the panel handles keys, the wheel and drops. They return true if they handled the event.
  std::function<bool(QKeyEvent&)> key_pressed;
  std::function<void(int points)> wheel_turned;
  std::function<void(const QMimeData&)> dropped;
  /// Called when the window manager asks to close it.
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

/// Origin and size, on the desktop, of the screen that the panel opens on.
QRect mainScreen();
ScreenSize mainScreenSize();

}  // namespace talvane
