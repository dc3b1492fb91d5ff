#include "ui/views/token_view.h"

#include <QAccessible>
#include <QApplication>
#include <QDateTime>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLabel>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/ini.h"
#include "engine/gateway.h"
#include "engine/soft_token_info.h"
#include "engine/text.h"
#include "engine/vane.h"
#include "platform/translation.h"
#include "ui/desktop/digit_key.h"
#include "ui/kit/accessible.h"
#include "ui/kit/countdown.h"
#include "ui/kit/flipped_view.h"
#include "ui/kit/frame.h"
#include "ui/kit/hover_text.h"
#include "ui/kit/look.h"
#include "ui/kit/ui_text.h"
#include "ui/panel/panel.h"
#include "ui/panel/panel_geometry.h"
#include "ui/panel/view.h"
#include "ui/views/shell.h"
#include "ui/wait/wait.h"

namespace talvane {
namespace {

constexpr int passcode_font_size = 24;
constexpr int row_font_size = 13;
constexpr int highest_notice = 500;
constexpr int milliseconds_a_second = 1000;
constexpr int next_font_size = 11;
constexpr int seconds_of_next = 5;          // how long before its time the next passcode is shown
constexpr Frame next_frame{5, 30, 48, 30};  // as far from its edge as the copy button
constexpr int most_typed = 60;
constexpr int lock_interval = 1000;

// Until the next full second, so that the screen changes exactly when the passcode does.
int millisecondsToNextSecond() {
  return milliseconds_a_second -
         static_cast<int>(QDateTime::currentMSecsSinceEpoch() % milliseconds_a_second);
}

int wordsHeight(const QLabel& label, const QString& words) {
  if (words.isEmpty()) return 0;
  const QRect room(0, 0, noticeFrame(0, 0).width, highest_notice);
  return label.fontMetrics().boundingRect(room, Qt::TextWordWrap, words).height();
}

template <typename Widget>
Widget* named(Widget* widget, const char* name) {
  widget->setObjectName(QLatin1String(name));
  return widget;
}

}  // namespace

TokenView::TokenView(Panel& panel, Shell& shell, const Ini& ini, Gateway& gateway)
    : View("tv", tokenViewHeight(0)), panel_(panel), shell_(shell), ini_(ini), gateway_(gateway) {
  load(form_);
  setTitle(uiText("Passcodes"));
  form_.tvtrouble->setAnnounced();
  form_.tvhint->setAnnounced();
  form_.tvunlock->setDress(PanelButton::Dress::tile);
  onClick(form_.tvunlock, [this] { unlock(); });
  onClick(form_.tvconfig, [this] { tv_editclicked(); });
  onClick(form_.tvhelp, [this] { tv_helpclicked(); });
  onClick(form_.tvadd, [this] { tv_addclicked(); });
}

int TokenView::height() {
  const int height = panel_.tokens().isEmpty()
                         ? hintedViewHeight(wordsHeight(*form_.tvhint, hint()))
                         : tokenViewHeight(panel_.tokens().count(), noticeHeight());
  vane::log("APP: openWindow: calculated tv height: {}", height);
  return height;
}

int TokenView::troubleHeight() const {
  return wordsHeight(*form_.tvtrouble, QString::fromStdString(panel_.tokens().trouble()));
}

int TokenView::noticeHeight() const {
  return troubleHeight() + (panel_.tokens().canUnlock() ? unlock_room : 0);
}

// How to get the first token, as far as the settings allow.
QString TokenView::hint() const {
  if (ini_.bAllowManual && ini_.bAllowTaEnrol) {
    return QString::fromStdString(translatedWith(
        "No tokens yet. Press {} to enrol at a server or type a key, or drop a link or QR code "
        "image here.",
        ini_.StrButtonAdd));
  }
  if (ini_.bAllowManual) {
    return QString::fromStdString(translatedWith(
        "No tokens yet. Press {} to type a key, or drop a link or QR code image here.",
        ini_.StrButtonAdd));
  }
  if (ini_.bAllowTaEnrol) {
    return QString::fromStdString(
        translatedWith("No tokens yet. Press {} to enrol at a server.", ini_.StrButtonAdd));
  }
  return uiText("No tokens yet. You cannot add any here; ask your administrator how to get one.");
}

void TokenView::closed() {
  typed_.clear();
  delete std::exchange(timer, nullptr);
  // Its own tick may have led here.
  if (lock_timer_ != nullptr) {
    lock_timer_->stop();
    std::exchange(lock_timer_, nullptr)->deleteLater();
  }
  takeOff(tvview);
}

void TokenView::clearRows() {
  tvdesc.clear();
  tvpasscode.clear();
  tvcopy.clear();
  next_.clear();
  found_.clear();
  row_places_.clear();
  none_found_ = nullptr;
  // The rows are the parents of the kinds above.
  Panel::ClearViewArray(tvtoken);
  delete std::exchange(tvcountdown, nullptr);
  delete std::exchange(tvview, nullptr);
}

void TokenView::tv_init() {
  vane::log("TV : init: begin");
  typed_.clear();
  clearRows();
  const int count = panel_.tokens().count();
  Frame list = withoutBands(frameOf(panel_.form()->rect()));
  const int offset = rowsOffset(count, troubleHeight());
  list.y += offset;
  list.height -= offset;
  tvview = named(new FlippedView(list, panel_.form()), "tvview");
  setAccessibleRole(*tvview, QAccessible::List);
  tvview->setAccessibleName(uiText("Tokens"));
  showTrouble();
  showHint();
  for (int i = 0; i < count; ++i) addTokenRow(i);
  if (count > 0) startCountdown();
  form_.tvconfig->setEnabled(panel_.tokens().deletable() > 0);
  tvview->show();
  form_.tvconfig->setText(QString::fromStdString(ini_.StrButtonEdit));
  form_.tvhelp->setText(QString::fromStdString(ini_.StrButtonHelp));
  form_.tvadd->setText(QString::fromStdString(ini_.StrButtonAdd));
  panel_.positionToolbarLeft(form_.tvconfig);
  panel_.positionToolbarCentre(form_.tvhelp);
  panel_.positionToolbarRight(form_.tvadd);
  setTabOrder();
  vane::log("TV : init: end");
}

void TokenView::showTrouble() {
  const QString words = QString::fromStdString(panel_.tokens().trouble());
  const int height = troubleHeight();
  const bool can_unlock = panel_.tokens().canUnlock();
  form_.tvtrouble->setGeometry(
      rectangle(can_unlock ? lockedFrame(height) : noticeFrame(panel_.tokens().count(), height)));
  form_.tvtrouble->showText(words);
  form_.tvtrouble->setVisible(!words.isEmpty());
  form_.tvunlock->setVisible(can_unlock);
  form_.tvunlock->setGeometry(rectangle(unlockFrame(height)));
  if (can_unlock) awaitUnlocking();
}

// The user may also unlock the keychain elsewhere.
void TokenView::awaitUnlocking() {
  lock_timer_ = named(new QTimer(window()), "locktimer");
  QObject::connect(lock_timer_, &QTimer::timeout, window(), [this] {
    if (Wait::isOn() || panel_.isRolling() || QApplication::activeModalWidget() != nullptr) return;
    const bool locked = panel_.tokens().isStillLocked();
    if (!locked && !Wait::isLeaving()) panel_.refreshView(window());
  });
  lock_timer_->start(lock_interval);
}

void TokenView::unlock() {
  // The prompt needs the keys.
  window()->giveKeys();
  panel_.tokens().unlock();
  window()->takeKeys();
  if (!Wait::isLeaving()) panel_.refreshView(window());
}

void TokenView::showHint() {
  const bool is_empty = panel_.tokens().isEmpty();
  const QString words = is_empty ? hint() : QString();
  form_.tvhint->setGeometry(rectangle(hintFrame(wordsHeight(*form_.tvhint, words))));
  form_.tvhint->showText(words);
  form_.tvhint->setVisible(is_empty);
}

void TokenView::addTokenRow(int index) {
  vane::log("TV : init: loop start [{}]", index);
  const SoftTokenInfo& token = *panel_.tokens().stored().list[static_cast<std::size_t>(index)];
  const QString name = QString::fromStdString(token.currentDescription().value_or(""));
  auto* row = named(new FlippedImageView(tokenRowFrame(index),
                                         artwork(QStringLiteral("blue.png"), *window()), tvview),
                    "tvtoken");
  setAccessibleRole(*row, QAccessible::ListItem);
  row->setAccessibleName(name);
  tvtoken.push_back(row);
  row_places_.push_back(row->pos());
  found_.push_back(static_cast<std::size_t>(index));

  auto* description = named(new TextLabel(row), "tvdesc");
  description->setGeometry(rectangle(description_frame));
  description->setContentsMargins(6, 0, 6, 0);
  description->setAlignment(Qt::AlignCenter);
  description->setFontSize(row_font_size);
  description->showText(name);
  tvdesc.push_back(description);

  auto* passcode = named(new TextLabel(row), "tvpasscode");
  passcode->setGeometry(rectangle(passcode_frame));
  passcode->setAlignment(Qt::AlignCenter);
  // The field extends below the row: centre the digits in its visible part.
  passcode->setContentsMargins(0, 0, 0, passcode_frame.height - copy_button_frame.height - 10);
  passcode->setFontSize(passcode_font_size);
  passcode->setTextColour(Qt::black);
  tvpasscode.push_back(passcode);

  auto* next = named(new TextLabel(row), "tvnext");
  next->setGeometry(rectangle(next_frame));
  next->setAlignment(Qt::AlignCenter);
  next->setFontSize(next_font_size);
  next->setTextColour(paint::dark_text);
  const QString how = uiText("Copied by Shift with Copy, Return or the row's digit");
  setHoverText(*next, how);
  next->setAccessibleDescription(how);
  next->hide();
  next_.push_back(next);

  auto* copy = named(new PanelButton(row), "tvcopy");
  copy->setGeometry(rectangle(copy_button_frame));
  copy->setDress(PanelButton::Dress::light);
  copy->setText(QString::fromStdString(ini_.StrButtonCopy));
  copy->setAccessibleName(copy->text() + QStringLiteral(": ") + name);
  QObject::connect(copy, &QAbstractButton::clicked, window(), [this, copy] {
    if (Wait::isOn()) return;
    tv_copyclicked(copy, QGuiApplication::keyboardModifiers().testFlag(Qt::ShiftModifier));
  });
  tvcopy.push_back(copy);
}

void TokenView::startCountdown() {
  tvcountdown =
      named(new Countdown(countdownFrame(panel_.tokens().count()), tvview), "tvcountdown");
  tvcountdown->setAccessibleName(uiText("Time left"));
  const bool all_60 = vane::bAllTokensArePeriod60(panel_.tokens().stored().list);
  vane::log("TV : init: bAllTokensArePeriod60:{}", all_60 ? 1 : 0);
  tvcountdown->setPeriod(all_60 ? 60 : 30);
  tv_update();
  timer = named(new QTimer(window()), "timer");
  timer->setTimerType(Qt::PreciseTimer);
  QObject::connect(timer, &QTimer::timeout, window(), [this] { tv_timer(); });
  timer->start(millisecondsToNextSecond());
}

void TokenView::setTabOrder() {
  std::vector<QWidget*> order = rows();
  if (panel_.tokens().canUnlock()) order.push_back(form_.tvunlock);
  QWidget* first = order.empty() ? form_.tvadd : order.front();
  order.insert(order.end(), {form_.tvconfig, form_.tvhelp, form_.tvadd, panel_.closeButton()});
  for (std::size_t i = 1; i < order.size(); ++i) QWidget::setTabOrder(order[i - 1], order[i]);
  const auto added = panel_.takeAdded();
  if (added && *added >= 0 && static_cast<std::size_t>(*added) < tvcopy.size()) {
    first = tvcopy[static_cast<std::size_t>(*added)];
  }
  first->setFocus();
}

std::vector<QWidget*> TokenView::rows() const {
  std::vector<QWidget*> shown;
  for (const std::size_t row : found_) shown.push_back(tvcopy[row]);
  return shown;
}

bool TokenView::keyPressed(const QKeyEvent& event) {
  constexpr auto for_other_things = Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier;
  if (event.modifiers().testAnyFlags(for_other_things)) return false;
  if (copyByKey(event)) return true;
  if (tvtoken.empty()) return false;
  if (event.key() == Qt::Key_Backspace && !typed_.isEmpty()) {
    const bool is_pair = typed_.size() > 1 && typed_.back().isLowSurrogate();
    find(typed_.chopped(is_pair ? 2 : 1));
    return true;
  }
  const QString text = event.text();
  const bool is_text = !text.isEmpty() && (text.front().isPrint() || text.front().isSurrogate()) &&
                       !text.front().isDigit() && !(text.front().isSpace() && typed_.isEmpty());
  if (!is_text) return false;
  find((typed_ + text).left(most_typed));
  return true;
}

void TokenView::takeText(const QInputMethodEvent& event) {
  const QString text = event.commitString();
  if (event.replacementLength() > 0) {
    QString kept = typed_;
    kept.remove(std::max<qsizetype>(0, typed_.size() + event.replacementStart()),
                event.replacementLength());
    find((kept + text).left(most_typed));
  } else if (text.size() == 1 && text >= QLatin1String("1") && text <= QLatin1String("9")) {
    // Some send every key as text.
    copyRow(text.front().digitValue(), false);
    return;
  } else if (!text.isEmpty() && !(typed_.isEmpty() && text.trimmed().isEmpty())) {
    find((typed_ + text).left(most_typed));
  }
  panel_.showInLogo(typed_ + event.preeditString());
}

bool TokenView::copyByKey(const QKeyEvent& event) {
  const bool shift = event.modifiers().testFlag(Qt::ShiftModifier);
  int number = event.key() - Qt::Key_0;
  bool next = false;
  // There are layouts whose digits need Shift.
  if (shift && (number < 1 || number > 9)) {
    number = digitOnKey(event);
    next = true;
  }
  return copyRow(number, next);
}

// Of those that show, counted from 1.
bool TokenView::copyRow(int number, bool next) {
  if (number < 1 || number > 9 || static_cast<std::size_t>(number) > found_.size()) return false;
  tv_copyclicked(tvcopy[found_[static_cast<std::size_t>(number) - 1]], next);
  return true;
}

bool TokenView::takesEscape() {
  if (typed_.isEmpty()) return false;
  find(QString());
  return true;
}

bool TokenView::isWanted(std::size_t row) const {
  const SoftTokenInfo& token = *panel_.tokens().stored().list[row];
  const std::string name = searchForm(token.currentDescription().value_or(""));
  return name.find(searchForm(trimmed(typed_.toStdString()))) != std::string::npos;
}

// The window keeps its size, and the rows that are left move up.
void TokenView::find(const QString& typed) {
  typed_ = typed;
  panel_.showInLogo(typed_);
  found_.clear();
  for (std::size_t row = 0; row < tvtoken.size(); ++row) {
    if (!isWanted(row)) continue;
    tvtoken[row]->move(row_places_[found_.size()]);
    tvtoken[row]->show();
    // A space belongs to what is typed.
    tvcopy[row]->setPressedBySpace(typed_.isEmpty());
    found_.push_back(row);
  }
  // Before the others go: the focus must not wander to a control that Return would press.
  QWidget* focus = found_.empty() ? static_cast<QWidget*>(window()) : tvcopy[found_.front()];
  focus->setFocus(Qt::OtherFocusReason);
  for (std::size_t row = 0; row < tvtoken.size(); ++row) {
    tvtoken[row]->setVisible(std::find(found_.begin(), found_.end(), row) != found_.end());
  }
  if (none_found_ == nullptr) {
    none_found_ = named(new TextLabel(tvview), "tvnone");
    none_found_->setGeometry(QRect(row_places_.front(), tvtoken.front()->size()));
    none_found_->setWordWrap(true);
    none_found_->setAlignment(Qt::AlignCenter);
    none_found_->setAnnounced();
  }
  none_found_->showText(QString::fromStdString(translatedWith(
      "No token has “{}” in its name. Escape shows all tokens", shownName(typed_.toStdString()))));
  none_found_->setVisible(found_.empty());
  if (!found_.empty()) announceFound();
}

void TokenView::announceFound() {
  if (!QAccessible::isActive()) return;
  const QString numbers =
      QString::fromStdString(translatedWith("{} of {} tokens", found_.size(), tvtoken.size()));
  announce(*window(), typed_.isEmpty() ? numbers : typed_ + QStringLiteral(": ") + numbers);
}

void TokenView::tv_timer() {
  if (Wait::isOn()) return;
  vane::log("TV : timer: ");
  if (timer != nullptr) timer->setInterval(millisecondsToNextSecond());
  QMetaObject::invokeMethod(
      window(), [this] { tv_update(); }, Qt::QueuedConnection);
  vane::log("TV : timer: end");
}

void TokenView::tv_update() {
  const std::int64_t now = gateway_.CurrentTime();
  shown_time_ = now;
  const bool bar_60 = tvcountdown != nullptr && tvcountdown->period() == 60;
  if (tvcountdown != nullptr) tvcountdown->setValue(static_cast<int>(now % tvcountdown->period()));
  const auto& tokens = panel_.tokens().stored().list;
  for (std::size_t i = 0; i < tvpasscode.size() && i < tokens.size(); ++i) {
    const SoftTokenInfo& token = *tokens[i];
    const std::string_view seed = token.seed32 ? token.seed32->get() : std::string_view();
    vane::log("timer: token [{:02}] d:{} s:{}", i, orNil(token.currentDescription()),
              token.seed32 ? seed : std::string_view(nil_text));
    const auto passcode = vane::GeneratePasscode(seed, token.counterAt(now));
    tvpasscode[i]->showText(QString::fromStdString(passcode.value_or("")));
    const std::int32_t index = vane::GetPasscodeColorForToken(token, bar_60, now);
    vane::log("timer: token [{:02}] period:{} , using color index:{}", i, token.period, index);
    tvpasscode[i]->setTextColour(colour(vane::ColorForValue2(index)));
    showNext(i);
    if (QAccessible::isActive()) spellPasscode(i);
  }
}

// Small, at the other side of the row, and with a word before it: nobody takes it for the passcode
// of now.
void TokenView::showNext(std::size_t row) {
  const SoftTokenInfo& token = *panel_.tokens().stored().list[row];
  const bool is_near = token.period - shown_time_ % token.period <= seconds_of_next;
  const auto passcode =
      is_near && token.seed32
          ? vane::unloggedPasscode(token.seed32->get(), token.counterAt(shown_time_) + 1)
          : std::nullopt;
  next_[row]->setVisible(passcode.has_value());
  if (!passcode) return;
  // Not showText, which takes the two lines for one that is cut, and shows it as the hint.
  next_[row]->setText(uiText("Next") + QChar::LineFeed + QString::fromStdString(*passcode));
}

// Only where somebody listens.
void TokenView::spellPasscode(std::size_t row) {
  const QString digits = spelled(tvpasscode[row]->text());
  if (tvcopy[row]->accessibleDescription() != digits) {
    tvcopy[row]->setAccessibleDescription(digits);
  }
}

void TokenView::tv_copyclicked(const QAbstractButton* sender, bool next) {
  vane::log("TV : copyclicked: begin");
  const auto found = std::find(tvcopy.begin(), tvcopy.end(), sender);
  const auto& tokens = panel_.tokens().stored().list;
  if (found == tvcopy.end() || tokens.size() != tvcopy.size()) {
    vane::log("TV : copyclicked: index not found");
  } else {
    const auto index = static_cast<std::size_t>(found - tvcopy.begin());
    vane::log("TV : copyclicked: found index: {}", index);
    const SoftTokenInfo& token = *tokens[index];
    const bool is_next = next && !next_[index]->isHidden();
    const QString digits =
        is_next ? next_[index]->text().section(QLatin1Char('\n'), -1) : tvpasscode[index]->text();
    const std::int64_t periods = token.counterAt(shown_time_) + (is_next ? 2 : 1);
    shell_.copyPasscode(
        {digits, token.currentDescription().value_or(""), periods * token.period, is_next});
    panel_.closeWindow(window(), true);
  }
  vane::log("TV : copyclicked: end");
}

void TokenView::tv_editclicked() {
  vane::log("TV : editclicked: begin");
  panel_.switchViewfrom(window(), panel_.window("cv"));
  vane::log("TV : editclicked: end");
}

void TokenView::tv_helpclicked() {
  vane::log("TV : helpclicked: begin");
  panel_.switchViewfrom(window(), panel_.window("hv"));
  vane::log("TV : helpclicked: end");
}

void TokenView::tv_addclicked() {
  vane::log("TV : addclicked: begin");
  shell_.addclicked(window());
  vane::log("TV : addclicked: end");
}

}  // namespace talvane
