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

  /// Once it shows.
  void takeKeys();
  /// So that another program's window can have them.
  void giveKeys();

  /// Frees what the window system holds for a hidden window.
  void releaseSystemWindow() { destroy(); }

  /// Where the mouse button was last pressed, in the window.
  [[nodiscard]] QPointF initialLocation() const { return initial_location_; }
  void setInitialLocation(QPointF location) { initial_location_ = location; }

  /// Puts the window there on the desktop, in this size, wholly visible. A window manager that puts
  /// it elsewhere is asked again.
  void place(const Frame& frame);
  /// Shows only this, and paints it.
  void showPart(const RollStep& step);

  // How the panel handles keys, the wheel and drops. They return true if they handled the event.
  std::function<bool(QKeyEvent&)> key_pressed;
  std::function<void(int points)> wheel_turned;
  std::function<void(const QMimeData&)> dropped;
  /// Called when the window manager asks to close it. Returns false if it stays open.
  std::function<bool()> closed_by_user;

 protected:
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;
  void closeEvent(QCloseEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void moveEvent(QMoveEvent* event) override;
  void hideEvent(QHideEvent* event) override;
  bool event(QEvent* event) override;

 private:
  QWidget* content_view_ = nullptr;
  QPointF initial_location_;
  bool bypasses_ = false;  // the window manager
  QPoint placed_;
  int corrections_ = 0;
};

}  // namespace talvane
