#pragma once

#include <QPoint>
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

  /// Where the window was last placed on the screen, as its lower left corner. Its own position is
  /// updated late, and a window manager may have changed it.
  [[nodiscard]] Place frameOrigin() const;
  void setFrameOrigin(Place origin);
  /// The same place, as its upper edge measured down from the screen's upper edge.
  [[nodiscard]] int topOnScreen() const { return placed_.y(); }
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
  QPoint placed_;  // its upper left corner, on the main screen
};

/// Origin and size, on the desktop, of the screen that the panel opens on.
QRect mainScreen();
ScreenSize mainScreenSize();

}  // namespace talvane
