#include "ui/panel/soft_token_window.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QKeyEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QRegion>
#include <QWheelEvent>
#include <QWindow>

#include <utility>

#include "ui/desktop/window_hints.h"
#include "ui/kit/accessible.h"
#include "ui/kit/flipped_view.h"
#include "ui/kit/frame.h"
#include "ui/kit/look.h"
#include "ui/panel/panel_geometry.h"

namespace talvane {
namespace {

// The movement for one notch of the wheel, in points: one row.
constexpr int points_a_notch = 72;
constexpr int units_a_notch = 120;

// A window manager that insists has its way.
constexpr int most_corrections = 3;

}  // namespace

SoftTokenWindow::SoftTokenWindow(const Frame& content_rectangle)
    : QWidget(nullptr,
              Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::NoDropShadowWindowHint |
                  // Tool windows that bypass the window manager get no keys.
                  (placesWindowsItself() ? Qt::Window | Qt::BypassWindowManagerHint : Qt::Tool)),
      bypasses_(windowFlags().testFlag(Qt::BypassWindowManagerHint)) {
  // Such a display does not cut windows to shape either.
  if (bypasses_) setAttribute(Qt::WA_TranslucentBackground);
  setAccessibleRole(*this, QAccessible::Dialog);
  setGeometry(rectangle(content_rectangle));
  // Showing or closing the panel never ends the program.
  setAttribute(Qt::WA_QuitOnClose, false);
  // macOS hides tool windows while another program is active.
  setAttribute(Qt::WA_MacAlwaysShowToolWindow);
  setAcceptDrops(true);
  setWindowTitle(QStringLiteral("Talvane Soft Token"));
  content_view_ = new FlippedView({0, 0, content_rectangle.width, content_rectangle.height}, this);
}

QWidget* SoftTokenWindow::setContentView(QWidget* view) {
  QWidget* before = std::exchange(content_view_, view);
  if (view != nullptr) {
    view->setParent(this);
    view->setGeometry(rect());
    view->show();
  }
  return before;
}

void SoftTokenWindow::place(const Frame& frame) {
  setFixedSize(frame.width, frame.height);
  placed_ = QPoint(frame.x, frame.y);
  corrections_ = 0;
  move(placed_);
  showOnly(*this, QRegion());
}

void SoftTokenWindow::showPart(const RollStep& step) {
  content_view_->move(step.content.x, step.content.y);
  const QRect visible = rectangle(step.visible);
  if (visible == rect()) {
    showOnly(*this, QRegion());
  } else if (visible.isEmpty()) {
    showOnly(*this, QRegion(-1, -1, 1, 1));  // an empty region would be all of it
  } else {
    showOnly(*this, QRegion(visible));
  }
  repaint();
}

void SoftTokenWindow::mousePressEvent(QMouseEvent* event) {
  initial_location_ = event->position();
}

// The panel cannot be dragged.
void SoftTokenWindow::mouseMoveEvent(QMouseEvent* /*event*/) {}

void SoftTokenWindow::keyPressEvent(QKeyEvent* event) {
  if (key_pressed && key_pressed(*event)) return;
  QWidget::keyPressEvent(event);
}

void SoftTokenWindow::wheelEvent(QWheelEvent* event) {
  const int pixels = event->pixelDelta().y();
  const int points =
      pixels != 0 ? pixels : event->angleDelta().y() * points_a_notch / units_a_notch;
  if (wheel_turned && points != 0) wheel_turned(points);
  event->accept();
}

void SoftTokenWindow::closeEvent(QCloseEvent* event) {
  // The program could not quit if it were always refused.
  event->setAccepted(!closed_by_user || closed_by_user());
}

void SoftTokenWindow::dragEnterEvent(QDragEnterEvent* event) {
  if (!event->mimeData()->hasUrls() && !event->mimeData()->hasText()) return;
  if (!event->possibleActions().testFlag(Qt::CopyAction)) return;
  // Never a move: the source keeps what was dragged.
  event->setDropAction(Qt::CopyAction);
  event->accept();
}

void SoftTokenWindow::dropEvent(QDropEvent* event) {
  event->setDropAction(Qt::CopyAction);
  event->accept();
  if (dropped) dropped(*event->mimeData());
}

void SoftTokenWindow::resizeEvent(QResizeEvent* /*event*/) {
  if (content_view_ != nullptr) content_view_->resize(size());
}

void SoftTokenWindow::moveEvent(QMoveEvent* /*event*/) {
  // Some leave room for a title bar that the window does not have.
  if (!isVisible() || pos() == placed_ || corrections_ == most_corrections) return;
  ++corrections_;
  move(placed_);
}

// Nobody gives the keys to a window that bypasses the window manager.
void SoftTokenWindow::takeKeys() {
  if (bypasses_ && isVisible()) windowHandle()->setKeyboardGrabEnabled(true);
}

void SoftTokenWindow::giveKeys() {
  if (bypasses_ && windowHandle() != nullptr) windowHandle()->setKeyboardGrabEnabled(false);
}

void SoftTokenWindow::hideEvent(QHideEvent* /*event*/) {
  giveKeys();
  endAnnouncement(*this);
}

bool SoftTokenWindow::event(QEvent* event) {
  // An alert needs the keys.
  if (event->type() == QEvent::WindowBlocked) giveKeys();
  if (event->type() == QEvent::WindowUnblocked) takeKeys();
  return QWidget::event(event);
}

}  // namespace talvane
