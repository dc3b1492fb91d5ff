#include <QApplication>
#include <QKeyEvent>
#include <QMimeData>
#include <QSocketNotifier>
#include <QUrl>
#include <algorithm>
#include <cstdlib>
#ifdef __GLIBC__
#include <malloc.h>
#endif

#include "engine/text.h"
#include "ui/app_delegate.h"
#include "ui/desktop/window_hints.h"
#include "ui/kit/alert.h"

namespace talvane {
namespace {

constexpr int row_step = 72;

int chunkOf(int height, std::int64_t steps) {
  return steps == 0 ? 0 : static_cast<int>(height / steps);
}

}  // namespace

void SoftTokenOSXAppDelegate::makeBackground(int height) {
  bg = new FlippedView({0, 0, panel_width, height});
  bg_logo = new FlippedImageView(logoFrame(), artwork(QStringLiteral("logo260x34.png"), *bg), bg);
  bg_tile_view = new TiledImageView(tileFrame(height), bg);
  bg_tile_view->setImage(artwork(QStringLiteral("bgtile.png"), *bg));
  bg_toolbar = new FlippedImageView(toolbarFrame(height),
                                    artwork(QStringLiteral("bluebar260x34.png"), *bg), bg);
}

void SoftTokenOSXAppDelegate::readTokens() {
  vane::log("APP: openWindow: reading tokens...");
  auto stored = store_.read();
  trouble_.clear();
  TOKENS = 0;
  if (!stored) {
    trouble_ = stored.error().words;
  } else {
    for (auto& token : stored->list) TOKEN[static_cast<std::size_t>(TOKENS++)] = std::move(token);
    if (TOKENS == 0 && stored->obstacle) trouble_ = stored->obstacle->words;
  }
  vane::log("APP: openWindow: found {} tokens", TOKENS);
  for (std::int32_t i = 0; i < TOKENS; ++i) {
    const SoftTokenInfo& token = *TOKEN[static_cast<std::size_t>(i)];
    vane::log("APP: openWindow: token[{:02}] d:{} s:{}", i, orNil(token.currentDescription()),
              token.seed32 ? token.seed32->get() : std::string(nil_text));
  }
}

int SoftTokenOSXAppDelegate::heightFor(const SoftTokenWindow* window) {
  if (window == tv) {
    int height = tokenViewHeight(TOKENS);
    if (!trouble_.empty()) height = std::max(height, troubleHeight());
    vane::log("APP: openWindow: calculated tv height: {}", height);
    return height;
  }
  if (window == cv) {
    const int height = managementViewHeight(TOKENS);
    vane::log("APP: openWindow: calculated cv height: {}", height);
    return height;
  }
  if (window == evgi) return evgi_height();
  const std::pair<const SoftTokenWindow*, int> heights[] = {
      {av, add_view_height},  {mv, manual_view_height},          {rv, response_view_height},
      {hv, help_view_height}, {eva, authentication_view_height}, {evgu, address_view_height}};
  for (const auto& [view, height] : heights) {
    if (window == view) return height;
  }
  return other_view_height;
}

void SoftTokenOSXAppDelegate::initialise(const SoftTokenWindow* window) {
  using Delegate = SoftTokenOSXAppDelegate;
  const std::pair<const SoftTokenWindow*, void (Delegate::*)()> initialisers[] = {
      {tv, &Delegate::tv_init},   {cv, &Delegate::cv_init},     {av, &Delegate::av_init},
      {mv, &Delegate::mv_init},   {rv, &Delegate::rv_init},     {hv, &Delegate::hv_init},
      {eva, &Delegate::eva_init}, {evgi, &Delegate::evgi_init}, {evgu, &Delegate::evgu_init}};
  for (const auto& [view, initialiser] : initialisers) {
    if (window == view) (this->*initialiser)();
  }
}

void SoftTokenOSXAppDelegate::openWindow(SoftTokenWindow* window, int x, int y, bool roll) {
  vane::log("APP: openWindow: begin (x:{} y:{} roll:{})", x, y, roll ? 1 : 0);
  for (auto& token : TOKEN) token.reset();
  if (window == tv || window == cv) readTokens();
  if (window == eva && ini.EnrolURL.empty()) {
    evgu_message->showText(QString::fromStdString(ini.StrErrNoEnrolURL));
    window = evgu;
  }
  const int height = heightFor(window);
  window->setFixedSize(window->width(), height);
  Place place{x, y};
  if (x < 0) {
    place = defaultPlace(mainScreenSize(), height, roll);
    vane::log("APP: openWindow: calculated x:{} y:{}", place.x, place.y);
  }
  makeBackground(height);
  content = window->setContentView(bg);
  close->setParent(bg);
  close->setGeometry(rectangle(close_button_frame));
  content->setParent(bg);
  content->setGeometry(bg->rect());
  content->show();
  // Above the content, which would take its clicks.
  close->raise();
  close->show();
  initialise(window);
  window->setFrameOrigin(place);
  keepOutOfTaskBars(*window);
  window->show();
  window->raise();
  window->activateWindow();
  // A window that is shown again at once has the keyboard still: nothing else would tell it.
  QApplication::setActiveWindow(window);
  if (QWidget* focus = window->focusWidget()) focus->setFocus();
  if (roll) {
    const std::int64_t steps = ini.RollupSteps;
    vane::log("APP: openWindow: rolling (steps:{} chunk:{})...", steps, chunkOf(height, steps));
    for (const Place step : openingRoll(place, height, steps)) window->setFrameOrigin(step);
  }
  bOpen = true;
  ow = window;
  vane::log("APP: openWindow: end");
}

void SoftTokenOSXAppDelegate::closeWindow(SoftTokenWindow* window, bool roll) {
  if (window == nullptr || window != ow) return;
  vane::log("APP: closeWindow: begin (roll:{})", roll ? 1 : 0);
  if (roll) {
    const std::int64_t steps = ini.RollupSteps;
    const int height = window->height();
    vane::log("APP: closeWindow: rolling (steps:{} chunk:{})...", steps, chunkOf(height, steps));
    for (const Place step : closingRoll(window->frameOrigin(), height, steps)) {
      window->setFrameOrigin(step);
    }
  }
  // One that is shown again at once is not unmapped: window managers may lose its place by that.
  if (!refreshing_) window->hide();
  bOpen = false;
  ow = nullptr;
  if (window == eva && flow_.hasWorker()) {
    vane::log("APP: closeWindow: aborting eva thead");
    flow_.abandonWorker();
  }
  timer.reset();
  login_items_notifier_.reset();
  watched_login_item_.reset();
  // What is under way in one of these views may still be running: they live until the next showing.
  for (QWidget* list : {static_cast<QWidget*>(tvview), static_cast<QWidget*>(cvview)}) {
    if (list == nullptr || list->parentWidget() != bg) continue;
    list->hide();
    list->setParent(window);
  }
  close->hide();
  close->setParent(window);
  window->setContentView(content);
  delete bg;
  bg = nullptr;
  content = nullptr;
  // After what is under way in the view that has closed.
  QMetaObject::invokeMethod(
      this, [this] { releaseClosedPanel(); }, Qt::QueuedConnection);
  vane::log("APP: closeWindow: end");
}

// A panel that is closed should cost nothing.
void SoftTokenOSXAppDelegate::releaseClosedPanel() {
  if (bOpen) return;
  clearTokenRows();
  clearManagementRows();
  for (auto& token : TOKEN) token.reset();
  for (const auto& window : windows_) window->releaseSystemWindow();
    // The C library would keep what was freed.
#ifdef __GLIBC__
  malloc_trim(0);
#endif
}

void SoftTokenOSXAppDelegate::switchViewfrom(SoftTokenWindow* from, SoftTokenWindow* to) {
  if (from != ow) return;
  closeWindow(from, false);
  openWindow(to, -1, -1, false);
}

void SoftTokenOSXAppDelegate::refreshView(SoftTokenWindow* window) {
  refreshing_ = true;
  switchViewfrom(window, window);
  refreshing_ = false;
}

void SoftTokenOSXAppDelegate::cvtv() {
  if (ow == cv) switchViewfrom(cv, tv);
}

void SoftTokenOSXAppDelegate::closeclicked() {
  closeWindow(ow, true);
}

void SoftTokenOSXAppDelegate::positionToolbarLeft(QWidget* button) {
  positionToolbarCommon(button, toolbarButtonFrame(ToolbarSlot::left));
}

void SoftTokenOSXAppDelegate::positionToolbarCentre(QWidget* button) {
  positionToolbarCommon(button, toolbarButtonFrame(ToolbarSlot::centre));
}

void SoftTokenOSXAppDelegate::positionToolbarRight(QWidget* button) {
  positionToolbarCommon(button, toolbarButtonFrame(ToolbarSlot::right));
}

void SoftTokenOSXAppDelegate::positionToolbarCommon(QWidget* button, const Frame& frame) {
  const Frame toolbar = toolbarFrame(bg->height());
  button->setGeometry(toolbar.x + frame.x, toolbar.y + frame.y, frame.width, frame.height);
  const auto size = std::clamp<std::int64_t>(ini.iButtonFontSize, 1, frame.height);
  button->setFont(panelFont(static_cast<int>(size)));
}

bool SoftTokenOSXAppDelegate::keyPressed(const SoftTokenWindow* window, const QKeyEvent& event) {
  // Pressed while the program worked, and the panel has closed or changed since.
  if (window != ow) return true;
  switch (event.key()) {
    case Qt::Key_Escape:
      cancelView();
      return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
      acceptView();
      return true;
    case Qt::Key_Up:
      return focusRow(-1);
    case Qt::Key_Down:
      return focusRow(1);
    case Qt::Key_PageUp:
      scrollPanel(mainScreen().height() - menu_bar_height - row_step);
      return true;
    case Qt::Key_PageDown:
      scrollPanel(row_step + menu_bar_height - mainScreen().height());
      return true;
    default:
      break;
  }
  const int digit = event.key() - Qt::Key_1;
  if (ow == tv && digit >= 0 && digit < 9 && digit < TOKENS &&
      event.modifiers() == Qt::NoModifier) {
    tv_copyclicked(tvcopy[static_cast<std::size_t>(digit)]);
    return true;
  }
  return false;
}

// Return in a field, or where nothing to press has the focus: the button that says yes.
void SoftTokenOSXAppDelegate::acceptView() {
  const std::pair<const SoftTokenWindow*, QAbstractButton*> affirmative[] = {
      {cv, cvhome},      {mv, mvok},          {rv, rvok},
      {eva, eva_submit}, {evgi, evgi_submit}, {evgu, evgu_submit}};
  for (const auto& [view, button] : affirmative) {
    if (ow != view) continue;
    button->click();
    return;
  }
}

// Escape: back where there is a button for it, else out.
void SoftTokenOSXAppDelegate::cancelView() {
  const std::pair<const SoftTokenWindow*, QAbstractButton*> cancelling[] = {
      {av, avcancel}, {mv, mvcancel}, {eva, eva_cancel}, {evgi, evgi_cancel}, {evgu, evgu_cancel}};
  for (const auto& [view, button] : cancelling) {
    if (ow != view) continue;
    button->click();
    return;
  }
  closeclicked();
}

bool SoftTokenOSXAppDelegate::focusRow(int step) {
  std::vector<QWidget*> rows;
  if (ow == tv) rows.assign(tvcopy.begin(), tvcopy.end());
  if (ow == cv) rows.assign(cvdesc.begin(), cvdesc.end());
  if (ow == av) rows = {avenrol, avmanual};
  if (ow == hv) rows = {hvgs, hvmanage, hvabout, hvlaunch, hvexit};
  if (rows.empty()) return false;
  const auto here = std::find(rows.begin(), rows.end(), QApplication::focusWidget());
  const auto last = static_cast<int>(rows.size()) - 1;
  const int position =
      here == rows.end() ? (step > 0 ? -1 : last + 1) : static_cast<int>(here - rows.begin());
  rows[static_cast<std::size_t>(std::clamp(position + step, 0, last))]->setFocus(
      Qt::TabFocusReason);
  return true;
}

void SoftTokenOSXAppDelegate::scrollPanel(int movement) {
  if (ow == nullptr) return;
  const int top = ow->topOnScreen();
  ow->setTopOnScreen(
      scrolledTop(top, movement, menu_bar_height, ow->height(), mainScreen().height()));
  tv_paintWhatShows();
}

void SoftTokenOSXAppDelegate::bringIntoView(const QWidget* widget) {
  if (widget == nullptr || ow == nullptr || widget->window() != ow) return;
  // With the whole row about it.
  const QWidget* row =
      widget->parentWidget() != nullptr && !tvtoken.empty() &&
              std::find(tvtoken.begin(), tvtoken.end(), widget->parentWidget()) != tvtoken.end()
          ? widget->parentWidget()
          : widget;
  const int first = row->mapTo(static_cast<QWidget*>(ow), QPoint(0, 0)).y();
  scrollPanel(movementToShow(first, first + row->height(), ow->topOnScreen(), menu_bar_height,
                             mainScreen().height()));
}

void SoftTokenOSXAppDelegate::takeDropped(const QMimeData& dropped) {
  QString link;
  QString file;
  for (const QUrl& url : dropped.urls()) {
    if (url.isLocalFile()) file = url.toLocalFile();
  }
  const QString text = dropped.text().trimmed();
  if (text.startsWith(QLatin1String("otpauth://"), Qt::CaseInsensitive)) link = text;
  // The drag is over before the question is asked.
  QMetaObject::invokeMethod(
      this,
      [this, link, file] {
        if (!link.isEmpty()) {
          importLink(link);
        } else if (!file.isEmpty()) {
          importPicture(file);
        } else {
          simpleMessageBox(QStringLiteral(
              "Drop an otpauth:// link or a picture of its QR code (PNG or JPEG) here"));
        }
      },
      Qt::QueuedConnection);
}

}  // namespace talvane
