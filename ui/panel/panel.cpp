#include "ui/panel/panel.h"

#include <QApplication>
#include <QGuiApplication>
#include <QKeyEvent>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "config/ini.h"
#include "engine/vane.h"
#include "platform/memory_release.h"
#include "store/token_store.h"
#include "ui/desktop/window_hints.h"
#include "ui/kit/buttons.h"
#include "ui/kit/flipped_view.h"
#include "ui/kit/frame.h"
#include "ui/kit/look.h"
#include "ui/panel/panel_geometry.h"
#include "ui/panel/soft_token_window.h"
#include "ui/panel/view.h"
#include "ui/wait/wait.h"

namespace talvane {
namespace {

constexpr int row_step = 72;

CloseButton* makeCloseButton(QWidget* parent) {
  auto* button = new CloseButton(parent);
  button->setObjectName(QStringLiteral("close"));
  button->setAccessibleName(QStringLiteral("Close"));
  button->setToolTip(QStringLiteral("Close"));
  button->hide();
  return button;
}

void bringToFront(SoftTokenWindow* window) {
  keepOutOfTaskBars(*window);
  window->show();
  window->raise();
  window->activateWindow();
  if (QWidget* focus = window->focusWidget()) focus->setFocus();
}

// The row `step` rows after the focused one.
bool focusRow(const std::vector<QWidget*>& rows, int step) {
  if (rows.empty()) return false;
  const auto here = std::find(rows.begin(), rows.end(), QApplication::focusWidget());
  const auto last = static_cast<int>(rows.size()) - 1;
  const int position =
      here == rows.end() ? (step > 0 ? -1 : last + 1) : static_cast<int>(here - rows.begin());
  rows[static_cast<std::size_t>(std::clamp(position + step, 0, last))]->setFocus(
      Qt::TabFocusReason);
  return true;
}

}  // namespace

Panel::Panel(const Ini& ini, TokenStore& store) : ini_(ini), tokens_(store) {
  connect(qApp, &QApplication::focusChanged, this,
          [this](QWidget* /*before*/, QWidget* now) { bringIntoView(now); });
  Wait::setHost(this);
}

Panel::~Panel() {
  Wait::removeHost(this);
  ow = nullptr;
  views_.clear();
}

void Panel::take(std::unique_ptr<View> view) {
  SoftTokenWindow* window = view->window();
  window->key_pressed = [this, window](QKeyEvent& event) { return keyPressed(window, event); };
  window->closed_by_user = [this, window] {
    if (window == ow) closedByUser(false);
  };
  window->wheel_turned = [this](int points) { scroll(points); };
  window->dropped = [this](const QMimeData& what) {
    if (dropped) dropped(what);
  };
  if (close == nullptr) {
    close = makeCloseButton(window);
    connect(close, &QAbstractButton::clicked, this, [this] {
      if (close->window() == ow) closedByUser(true);
    });
  }
  views_.push_back(std::move(view));
}

SoftTokenWindow* Panel::window(const char* name) const {
  for (const auto& view : views_) {
    if (view->window()->objectName() == QLatin1String(name)) return view->window();
  }
  return nullptr;
}

View* Panel::viewOf(const SoftTokenWindow* window) const {
  for (const auto& view : views_) {
    if (view->window() == window) return view.get();
  }
  return nullptr;
}

void Panel::openWindow(SoftTokenWindow* window, int x, int y, bool roll_down) {
  if (Wait::isOn()) return;
  vane::log("APP: openWindow: begin (x:{} y:{} roll:{})", x, y, roll_down ? 1 : 0);
  tokens_.clear();
  View* view = viewOf(window);
  if (view != nullptr && view->showsTokens() && !readTokens()) {
    window->hide();
    releaseLater();
    return;
  }
  if (View* other = view == nullptr ? nullptr : view->standIn()) {
    view = other;
    window = other->window();
  }
  const int height = view == nullptr ? other_view_height : view->height();
  window->setFixedSize(window->width(), height);
  Place place{x, y};
  if (x < 0) {
    place = defaultPlace(mainScreenSize(), height, roll_down);
    vane::log("APP: openWindow: calculated x:{} y:{}", place.x, place.y);
  }
  makeBackground(height);
  content = window->setContentView(bg);
  bg->hold(content, close);
  if (view != nullptr) view->init();
  window->setFrameOrigin(place);
  bringToFront(window);
  if (sign_ != nullptr) sign_->hide();
  if (roll_down) {
    const std::int64_t steps = ini_.RollupSteps;
    vane::log("APP: openWindow: rolling (steps:{} chunk:{})...", steps, rollChunk(height, steps));
    for (const Place step : openingRoll(place, height, steps)) window->setFrameOrigin(step);
  }
  bOpen = true;
  ow = window;
  vane::log("APP: openWindow: end");
}

void Panel::closeWindow(SoftTokenWindow* window, bool roll_up) {
  if (window == nullptr || window != ow) return;
  vane::log("APP: closeWindow: begin (roll:{})", roll_up ? 1 : 0);
  if (roll_up) {
    const std::int64_t steps = ini_.RollupSteps;
    const int height = window->height();
    vane::log("APP: closeWindow: rolling (steps:{} chunk:{})...", steps, rollChunk(height, steps));
    for (const Place step : closingRoll(window->frameOrigin(), height, steps)) {
      window->setFrameOrigin(step);
    }
  }
  // Do not unmap a window that is shown again at once: a window manager may lose its place.
  if (!refreshing_) window->hide();
  bOpen = false;
  ow = nullptr;
  if (View* view = viewOf(window)) view->closed();
  close->hide();
  close->setParent(window);
  window->setContentView(content);
  delete std::exchange(bg, nullptr);
  content = nullptr;
  releaseLater();
  vane::log("APP: closeWindow: end");
}

// After the closed view has finished its work.
void Panel::releaseLater() {
  Wait::later(this, [this] { releaseClosedPanel(); });
}

// False: the user has left meanwhile.
bool Panel::readTokens() {
  reading_ = true;
  tokens_.read();
  reading_ = false;
  if (!Wait::isLeaving()) return true;
  tokens_.clear();
  if (sign_ != nullptr) sign_->hide();
  return false;
}

void Panel::closedByUser(bool roll_up) {
  if (Wait::isOn()) {
    Wait::leave([this, roll_up] { closeWindow(ow, roll_up); });
  } else {
    closeWindow(ow, roll_up);
  }
}

void Panel::waitBegins() {
  if (!std::exchange(waits_, true)) QGuiApplication::setOverrideCursor(Qt::BusyCursor);
  if (reading_) {
    if (sign_ == nullptr) sign_ = std::make_unique<WaitSign>([this] { closedByUser(false); });
    sign_->show(QString::fromStdString(ini_.StrPleaseWait));
    return;
  }
  if (View* view = viewOf(ow); view != nullptr && waiting_view_ == nullptr) {
    waiting_view_ = view;
    view->waits(true);
  }
}

void Panel::waitEnds() {
  if (!std::exchange(waits_, false)) return;
  QGuiApplication::restoreOverrideCursor();
  if (View* view = std::exchange(waiting_view_, nullptr)) view->waits(false);
}

bool Panel::isWayOut(const QWidget* widget) const {
  if (widget == close || (sign_ != nullptr && widget == sign_->closeButton())) return true;
  const View* view = viewOf(ow);
  return view != nullptr && widget == view->cancelling();
}

void Panel::escape() {
  const View* view = viewOf(ow);
  if (QAbstractButton* cancelling = view == nullptr ? nullptr : view->cancelling()) {
    cancelling->click();
  } else {
    closedByUser(true);
  }
}

void Panel::makeBackground(int height) {
  bg = new PanelBackground(height);
}

void Panel::releaseClosedPanel() {
  if (bOpen) return;
  tokens_.clear();
  for (const auto& view : views_) {
    view->released();
    view->window()->releaseSystemWindow();
  }
  releaseFreedMemory();
}

void Panel::switchViewfrom(SoftTokenWindow* from, SoftTokenWindow* to) {
  if (from == nullptr || from != ow) return;
  closeWindow(from, false);
  openWindow(to, -1, -1, false);
}

void Panel::refreshView(SoftTokenWindow* window) {
  refreshing_ = true;
  switchViewfrom(window, window);
  refreshing_ = false;
}

void Panel::cvtv() {
  switchViewfrom(window("cv"), window("tv"));
}

void Panel::closeclicked() {
  closeWindow(ow, true);
}

void Panel::positionToolbarLeft(QWidget* button) {
  positionToolbarCommon(button, toolbarButtonFrame(ToolbarSlot::left));
}

void Panel::positionToolbarCentre(QWidget* button) {
  positionToolbarCommon(button, toolbarButtonFrame(ToolbarSlot::centre));
}

void Panel::positionToolbarRight(QWidget* button) {
  positionToolbarCommon(button, toolbarButtonFrame(ToolbarSlot::right));
}

void Panel::positionToolbarCommon(QWidget* button, const Frame& frame) {
  const Frame toolbar = toolbarFrame(bg->height());
  button->setGeometry(toolbar.x + frame.x, toolbar.y + frame.y, frame.width, frame.height);
  const auto size = std::clamp<std::int64_t>(ini_.iButtonFontSize, 1, frame.height);
  button->setFont(panelFont(static_cast<int>(size)));
}

bool Panel::keyPressed(const SoftTokenWindow* window, const QKeyEvent& event) {
  // The key was pressed while the program was busy, and the panel has closed or changed since.
  if (window != ow || Wait::isOn()) return true;
  const int page = mainScreen().height() - menu_bar_height - row_step;
  View* view = viewOf(window);
  switch (event.key()) {
    case Qt::Key_Escape:
      if (QAbstractButton* cancelling = view->cancelling()) {
        cancelling->click();
      } else {
        closeclicked();
      }
      return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
      // In a field, or when no button has the focus.
      if (QAbstractButton* accepting = view->accepting()) accepting->click();
      return true;
    case Qt::Key_Up:
      return focusRow(view->rows(), -1);
    case Qt::Key_Down:
      return focusRow(view->rows(), 1);
    case Qt::Key_PageUp:
      scroll(page);
      return true;
    case Qt::Key_PageDown:
      scroll(-page);
      return true;
    default:
      return view->keyPressed(event);
  }
}

void Panel::scroll(int movement) {
  if (ow == nullptr) return;
  ow->setTopOnScreen(scrolledTop(ow->topOnScreen(), movement, menu_bar_height, ow->height(),
                                 mainScreen().height()));
  if (View* view = viewOf(ow)) view->scrolled();
}

void Panel::bringIntoView(const QWidget* widget) {
  if (widget == nullptr || ow == nullptr || widget->window() != ow) return;
  // Scroll to the whole row, not only the focused widget on it.
  const QWidget* row = dynamic_cast<const FlippedImageView*>(widget->parentWidget());
  if (row == nullptr) row = widget;
  const int first = row->mapTo(static_cast<QWidget*>(ow), QPoint(0, 0)).y();
  scroll(movementToShow(first, first + row->height(), ow->topOnScreen(), menu_bar_height,
                        mainScreen().height()));
}

}  // namespace talvane
