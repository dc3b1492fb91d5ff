#include "ui/panel/soft_token_window.h"

#include <QAccessibleWidget>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QScreen>
#include <QWheelEvent>

#include <utility>

#include "ui/kit/flipped_view.h"
#include "ui/kit/frame.h"
#include "ui/kit/look.h"
#include "ui/panel/panel_geometry.h"

namespace talvane {
namespace {

// The movement for one notch of the wheel, in points: one row.
constexpr int points_a_notch = 72;
constexpr int units_a_notch = 120;

// How assistive technologies see the panel.
QAccessibleInterface* accessibleWindow(const QString& /*class_name*/, QObject* object) {
  auto* window = dynamic_cast<SoftTokenWindow*>(object);
  return window == nullptr ? nullptr : new QAccessibleWidget(window, QAccessible::Dialog);
}

}  // namespace

SoftTokenWindow::SoftTokenWindow(const Frame& content_rectangle)
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                           Qt::NoDropShadowWindowHint) {
  static const bool factory_installed = (QAccessible::installFactory(accessibleWindow), true);
  static_cast<void>(factory_installed);
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

Place SoftTokenWindow::frameOrigin() const {
  const Frame downwards{placed_.x(), placed_.y(), width(), height()};
  const Frame upwards = flipped(downwards, mainScreen().height());
  return {upwards.x, upwards.y};
}

void SoftTokenWindow::setFrameOrigin(Place origin) {
  const Frame downwards = flipped({origin.x, origin.y, width(), height()}, mainScreen().height());
  placed_ = QPoint(downwards.x, downwards.y);
  move(mainScreen().topLeft() + placed_);
}

void SoftTokenWindow::setTopOnScreen(int top) {
  if (top == placed_.y()) return;
  placed_.setY(top);
  move(mainScreen().topLeft() + placed_);
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
  event->accept();  // otherwise the program could not quit
  if (closed_by_user) closed_by_user();
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
  if (content_view_ != nullptr) content_view_->setGeometry(rect());
}

QRect mainScreen() {
  const QScreen* screen = QGuiApplication::primaryScreen();
  return screen != nullptr ? screen->geometry() : QRect();
}

ScreenSize mainScreenSize() {
  const QScreen* screen = QGuiApplication::primaryScreen();
  if (screen == nullptr) return {};
  return {screen->geometry().height(), screen->availableGeometry().width()};
}

}  // namespace talvane
