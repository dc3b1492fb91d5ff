#include "ui/panel/panel.h"

#include <QApplication>
#include <QGuiApplication>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QLineEdit>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "config/ini.h"
#include "engine/vane.h"
#include "platform/memory_release.h"
#include "store/token_store.h"
#include "ui/desktop/animations.h"
#include "ui/desktop/window_hints.h"
#include "ui/kit/alert.h"
#include "ui/kit/buttons.h"
#include "ui/kit/flipped_view.h"
#include "ui/kit/frame.h"
#include "ui/kit/hover_text.h"
#include "ui/kit/look.h"
#include "ui/kit/ui_text.h"
#include "ui/panel/logo_text.h"
#include "ui/panel/panel_geometry.h"
#include "ui/panel/roll.h"
#include "ui/panel/screens.h"
#include "ui/panel/soft_token_window.h"
#include "ui/panel/view.h"
#include "ui/wait/wait.h"

namespace talvane {
namespace {

constexpr int row_step = 72;

// True as long as it lives, also when memory runs out meanwhile.
class While {
 public:
  explicit While(bool& flag) : flag_(flag) { flag_ = true; }
  ~While() { flag_ = false; }
  While(const While&) = delete;
  While& operator=(const While&) = delete;

 private:
  bool& flag_;
};

CloseButton* makeCloseButton(QWidget* parent) {
  auto* button = new CloseButton(parent);
  button->setObjectName(QStringLiteral("close"));
  button->setAccessibleName(uiText("Close"));
  setHoverText(*button, uiText("Close"));
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

// The first empty field below `above`, or of all; null if there is none.
QLineEdit* emptyField(const QWidget* form, const QWidget* above) {
  const bool is_within = above != nullptr && above->window() == form->window();
  const int line = is_within ? above->mapTo(form->window(), QPoint(0, 0)).y() : -1;
  QLineEdit* first = nullptr;
  int first_line = 0;
  for (auto* field : form->findChildren<QLineEdit*>()) {
    if (!field->isVisible() || !field->isEnabled() || !field->text().isEmpty()) continue;
    const int its_line = field->mapTo(form->window(), QPoint(0, 0)).y();
    if (its_line <= line || (first != nullptr && its_line >= first_line)) continue;
    first = field;
    first_line = its_line;
  }
  return first;
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
  qApp->installEventFilter(this);
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
  window->closed_by_user = [this, window] { return window != ow || closedByUser(false); };
  window->wheel_turned = [this](int points) { scroll(-points); };
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

SoftTokenWindow* Panel::window(const char* name) {
  for (const auto& view : views_) {
    if (view->window()->objectName() == QLatin1String(name)) return view->window();
  }
  if (!make_rest_) return nullptr;
  std::exchange(make_rest_, {})();
  return window(name);
}

View* Panel::viewOf(const SoftTokenWindow* window) const {
  for (const auto& view : views_) {
    if (view->window() == window) return view.get();
  }
  return nullptr;
}

void Panel::openWindow(SoftTokenWindow* window, int x, int y, bool roll_down) {
  if (Wait::isOn() || rolling_) return;
  vane::log("APP: openWindow: begin (x:{} y:{} roll:{})", x, y, roll_down ? 1 : 0);
  if (!switching_) findIcon();
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
  const int content_height = view == nullptr ? other_view_height : view->height();
  place_ = placeFor(content_height);
  if (x < 0) {
    const Place origin = originOf(place_, roll_down);
    vane::log("APP: openWindow: calculated x:{} y:{}", origin.x, origin.y);
  } else {
    place_ = placeAt({x, y}, mainScreen().whole, content_height, roll_down);
  }
  window->place(place_.window);
  dress(window, content_height);
  if (view != nullptr) view->init();
  if (const QWidget* focus = window->focusWidget()) scrollTo(*focus);
  if (roll_down) {
    rollOut(window);
  } else {
    bringToFront(window);
  }
  window->takeKeys();
  if (sign_ != nullptr && sign_->isVisible()) {
    sign_->hide();
    // A window manager that gave the keyboard to the sign may give it to nobody now.
    window->activateWindow();
  }
  bOpen = true;
  ow = window;
  if (turned && !switching_) turned(true);
  vane::log("APP: openWindow: end");
}

void Panel::closeWindow(SoftTokenWindow* window, bool roll_up) {
  if (window == nullptr || window != ow || rolling_) return;
  vane::log("APP: closeWindow: begin (roll:{})", roll_up ? 1 : 0);
  if (roll_up) rollIn(window);
  // Do not unmap a window that is shown again at once: a window manager may lose its place.
  if (!refreshing_) window->hide();
  bOpen = false;
  ow = nullptr;
  if (View* view = viewOf(window)) view->closed();
  undress(window);
  if (!switching_) added_.reset();
  if (turned && !switching_) turned(false);
  releaseLater();
  vane::log("APP: closeWindow: end");
}

const ScreenArea& Panel::mainScreen() const {
  static constexpr ScreenArea none{};
  return screens_.empty() ? none : screens_.front();
}

// Where the program's icon is now. The views that follow open there too.
void Panel::findIcon() {
  screens_ = desktopScreens();
  anchor_ = anchorOf(item_, screens_);
}

PanelPlace Panel::placeFor(int height) const {
  return panelPlace(anchor_, mainScreen(), height);
}

AlertSite Panel::alertSite() const {
  if (ow != nullptr && anchor_ && anchor_->screen.whole == place_.screen) {
    return {ow, anchor_->screen.work};
  }
  const std::vector<ScreenArea> screens = desktopScreens();
  return {ow, screens.empty() ? Frame() : screens.front().work};
}

void Panel::dress(SoftTokenWindow* window, int content_height) {
  makeBackground(window->height());
  content = window->setContentView(bg);
  bg->hold(content, content_height, close);
}

void Panel::undress(SoftTokenWindow* window) {
  for (QWidget* button : std::exchange(toolbar_buttons_, {})) button->setParent(content);
  close->hide();
  close->setParent(window);
  window->setContentView(content);
  delete std::exchange(bg, nullptr);
  content = nullptr;
}

void Panel::rollOut(SoftTokenWindow* window) {
  const std::int64_t steps = ini_.RollupSteps;
  vane::log("APP: openWindow: rolling (steps:{} chunk:{})...", steps,
            rollChunk(rollLength(place_), steps));
  const bool seen = steps > 0 && showsAnimations();
  const std::vector<RollStep> frames = openingSteps(place_, seen ? steps : 0);
  const While rolls(rolling_);
  window->showPart(frames.front());
  bringToFront(window);
  if (seen) Roll::awaitShown(*window);
  Roll::run(*window, frames);
}

void Panel::rollIn(SoftTokenWindow* window) {
  const std::int64_t steps = ini_.RollupSteps;
  vane::log("APP: closeWindow: rolling (steps:{} chunk:{})...", steps,
            rollChunk(rollLength(place_), steps));
  if (showsAnimations()) Roll::run(*window, closingSteps(place_, steps));
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

bool Panel::closedByUser(bool roll_up) {
  if (Wait::isOn()) {
    Wait::leave([this, roll_up] { closeWindow(ow, roll_up); });
    return true;
  }
  // Nothing may hold up the end of the program.
  if (!quits_ && !mayLeave()) return false;
  closeWindow(ow, roll_up);
  return true;
}

bool Panel::mayLeave() {
  View* view = viewOf(ow);
  return view == nullptr || view->mayLeave();
}

// Of the whole program: any widget of the panel may have the keyboard, and the request to quit
// closes all windows first.
bool Panel::eventFilter(QObject* watched, QEvent* event) {
  switch (event->type()) {
    case QEvent::Quit:
      quits_ = quits_ || watched == qApp;
      return false;
    case QEvent::InputMethod:
    case QEvent::InputMethodQuery:
      break;
    default:
      return false;
  }
  View* view = viewOf(ow);
  const auto* focus = qobject_cast<const QWidget*>(watched);
  if (view == nullptr || focus == nullptr || focus->window() != ow || !view->takesText() ||
      qobject_cast<const QLineEdit*>(focus) != nullptr) {
    return false;
  }
  if (event->type() == QEvent::InputMethod) {
    view->takeText(static_cast<QInputMethodEvent&>(*event));
  } else {
    answerInputMethod(*view, *focus, static_cast<QInputMethodQueryEvent&>(*event));
  }
  event->accept();
  return true;
}

void Panel::answerInputMethod(const View& view, const QWidget& focus,
                              QInputMethodQueryEvent& query) const {
  const QString text = view.takenText();
  const auto answer = [&query](Qt::InputMethodQuery what, const QVariant& value) {
    if (query.queries().testFlag(what)) query.setValue(what, value);
  };
  answer(Qt::ImEnabled, true);
  answer(Qt::ImHints, static_cast<int>(Qt::ImhNoAutoUppercase | Qt::ImhNoPredictiveText));
  answer(Qt::ImSurroundingText, text);
  answer(Qt::ImCursorPosition, static_cast<int>(text.size()));
  answer(Qt::ImAnchorPosition, static_cast<int>(text.size()));
  answer(Qt::ImCursorRectangle,
         rectangle(logo_cursor_frame).translated(focus.mapFrom(focus.window(), QPoint(0, 0))));
}

void Panel::waitBegins() {
  if (!std::exchange(waits_, true)) QGuiApplication::setOverrideCursor(Qt::BusyCursor);
  if (reading_) {
    if (sign_ == nullptr) sign_ = std::make_unique<WaitSign>([this] { closedByUser(false); });
    sign_->show(QString::fromStdString(ini_.StrPleaseWait), placeFor(WaitSign::height()).window,
                refreshing_ ? WaitSign::Keys::leaves : WaitSign::Keys::takes);
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
  if (bOpen || rolling_) return;
  tokens_.clear();
  for (const auto& view : views_) {
    view->released();
    view->window()->releaseSystemWindow();
  }
  releaseFreedMemory();
}

void Panel::switchViewfrom(SoftTokenWindow* from, SoftTokenWindow* to) {
  if (from == nullptr || from != ow) return;
  {
    const While switches(switching_);
    closeWindow(from, false);
    openWindow(to, -1, -1, false);
  }
  // The user left while the tokens were read.
  if (!bOpen && turned) turned(false);
}

void Panel::refreshView(SoftTokenWindow* window) {
  const While refreshes(refreshing_);
  switchViewfrom(window, window);
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

void Panel::positionToolbarWide(QWidget* button) {
  positionToolbarCommon(button, toolbarButtonFrame(ToolbarSlot::wide));
}

void Panel::positionToolbarCommon(QWidget* button, const Frame& frame) {
  // On the background, so that it stays where it is when the content scrolls.
  button->setParent(bg);
  toolbar_buttons_.push_back(button);
  const Frame toolbar = toolbarFrame(bg->height());
  button->setGeometry(toolbar.x + frame.x, toolbar.y + frame.y, frame.width, frame.height);
  button->show();
  const auto size = std::clamp<std::int64_t>(ini_.iButtonFontSize, 1, frame.height);
  button->setFont(panelFont(static_cast<int>(size)));
}

bool Panel::keyPressed(const SoftTokenWindow* window, const QKeyEvent& event) {
  // The key was pressed while the program was busy, and the panel has closed or changed since.
  if (window != ow || Wait::isOn()) return true;
  View* view = viewOf(window);
  switch (event.key()) {
    case Qt::Key_Escape:
      if (view->takesEscape()) return true;
      if (QAbstractButton* cancelling = view->cancelling()) {
        cancelling->click();
      } else {
        closeclicked();
      }
      return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
      // In a field, or when no button has the focus.
      accept(*view);
      return true;
    case Qt::Key_Up:
    case Qt::Key_Down:
      if (event.modifiers().testFlag(Qt::AltModifier)) return view->keyPressed(event);
      return focusRow(view->rows(), event.key() == Qt::Key_Up ? -1 : 1);
    case Qt::Key_PageUp:
      return page(*view, -1);
    case Qt::Key_PageDown:
      return page(*view, 1);
    case Qt::Key_Home:
      return focusEnd(*view, -1);
    case Qt::Key_End:
      return focusEnd(*view, 1);
    default:
      return view->keyPressed(event);
  }
}

void Panel::accept(const View& view) {
  QAbstractButton* accepting = view.accepting();
  if (accepting == nullptr) return;
  QWidget* focus = QApplication::focusWidget();
  QLineEdit* next = emptyField(content, focus);
  if (next == nullptr && !accepting->isEnabled()) next = emptyField(content, nullptr);
  if (next != nullptr && next != focus) {
    next->setFocus(Qt::TabFocusReason);
  } else {
    accepting->click();
  }
}

void Panel::showInLogo(const QString& text) {
  if (bg != nullptr) bg->showInLogo(text);
}

void Panel::scroll(int movement) {
  if (ow != nullptr && !Wait::isOn()) bg->room().scroll(movement);
}

// By the rows that fit, so that the one with the focus stays in view.
bool Panel::page(View& view, int pages) {
  const int height = bg->room().height();
  if (!focusRow(view.rows(), pages * std::max(1, height / row_step - 1))) {
    scroll(pages * (height - row_step));
  }
  return true;
}

bool Panel::focusEnd(View& view, int direction) {
  constexpr int more_than_all = 1'000'000;
  focusRow(view.rows(), direction * more_than_all);
  scroll(direction * more_than_all);
  return true;
}

void Panel::bringIntoView(const QWidget* widget) {
  if (widget != nullptr && ow != nullptr && widget->window() == ow) scrollTo(*widget);
}

// To the whole row, not only the focused widget on it.
void Panel::scrollTo(const QWidget& widget) {
  const QWidget* row = dynamic_cast<const FlippedImageView*>(widget.parentWidget());
  bg->room().scrollToShow(row == nullptr ? widget : *row);
}

}  // namespace talvane
