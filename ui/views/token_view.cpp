#include "ui/views/token_view.h"

#include <QDateTime>
#include <QKeyEvent>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "config/ini.h"
#include "engine/gateway.h"
#include "engine/soft_token_info.h"
#include "engine/text.h"
#include "engine/vane.h"
#include "ui/desktop/pasteboard.h"
#include "ui/kit/countdown.h"
#include "ui/kit/flipped_view.h"
#include "ui/kit/look.h"
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

// Until the next full second, so that the screen changes exactly when the passcode does.
int millisecondsToNextSecond() {
  return milliseconds_a_second -
         static_cast<int>(QDateTime::currentMSecsSinceEpoch() % milliseconds_a_second);
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
  onClick(form_.tvconfig, [this] { tv_editclicked(); });
  onClick(form_.tvhelp, [this] { tv_helpclicked(); });
  onClick(form_.tvadd, [this] { tv_addclicked(); });
}

int TokenView::height() {
  const int height = tokenViewHeight(panel_.tokens().count(), troubleHeight());
  vane::log("APP: openWindow: calculated tv height: {}", height);
  return height;
}

int TokenView::troubleHeight() const {
  const QString words = QString::fromStdString(panel_.tokens().trouble());
  if (words.isEmpty()) return 0;
  const QRect room(0, 0, noticeFrame(0, 0).width, highest_notice);
  return form_.tvtrouble->fontMetrics().boundingRect(room, Qt::TextWordWrap, words).height();
}

void TokenView::closed() {
  delete std::exchange(timer, nullptr);
  takeOff(tvview);
}

void TokenView::clearRows() {
  tvdesc.clear();
  tvpasscode.clear();
  tvcopy.clear();
  // The rows are the parents of the three kinds above.
  Panel::ClearViewArray(tvtoken);
  delete std::exchange(tvcountdown, nullptr);
  delete std::exchange(tvview, nullptr);
}

void TokenView::tv_init() {
  vane::log("TV : init: begin");
  clearRows();
  tvview =
      named(new FlippedView(withoutBands(frameOf(panel_.form()->rect())), panel_.form()), "tvview");
  showTrouble();
  const int count = panel_.tokens().count();
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
  form_.tvtrouble->setVisible(!words.isEmpty());
  form_.tvtrouble->setGeometry(rectangle(noticeFrame(panel_.tokens().count(), troubleHeight())));
  form_.tvtrouble->showText(words);
}

void TokenView::addTokenRow(int index) {
  vane::log("TV : init: loop start [{}]", index);
  const SoftTokenInfo& token = *panel_.tokens().stored().list[static_cast<std::size_t>(index)];
  const QString name = QString::fromStdString(token.currentDescription().value_or(""));
  auto* row = named(new FlippedImageView(tokenRowFrame(index),
                                         artwork(QStringLiteral("blue.png"), *window()), tvview),
                    "tvtoken");
  tvtoken.push_back(row);

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

  auto* copy = named(new PanelButton(row), "tvcopy");
  copy->setGeometry(rectangle(copy_button_frame));
  copy->setDress(PanelButton::Dress::light);
  copy->setText(QString::fromStdString(ini_.StrButtonCopy));
  copy->setAccessibleName(copy->text() + QStringLiteral(": ") + name);
  QObject::connect(copy, &QAbstractButton::clicked, window(), [this, copy] {
    if (!Wait::isOn()) tv_copyclicked(copy);
  });
  tvcopy.push_back(copy);
}

void TokenView::startCountdown() {
  tvcountdown =
      named(new Countdown(countdownFrame(panel_.tokens().count()), tvview), "tvcountdown");
  tvcountdown->setAccessibleName(QStringLiteral("Time left"));
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
  QWidget* first = order.empty() ? form_.tvadd : order.front();
  order.insert(order.end(), {form_.tvconfig, form_.tvhelp, form_.tvadd, panel_.closeButton()});
  for (std::size_t i = 1; i < order.size(); ++i) QWidget::setTabOrder(order[i - 1], order[i]);
  first->setFocus();
}

std::vector<QWidget*> TokenView::rows() const {
  return {tvcopy.begin(), tvcopy.end()};
}

bool TokenView::keyPressed(const QKeyEvent& event) {
  const int digit = event.key() - Qt::Key_1;
  if (digit < 0 || digit >= 9 || digit >= panel_.tokens().count()) return false;
  if (event.modifiers() != Qt::NoModifier) return false;
  tv_copyclicked(tvcopy[static_cast<std::size_t>(digit)]);
  return true;
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
  }
}

void TokenView::tv_copyclicked(const QAbstractButton* sender) {
  vane::log("TV : copyclicked: begin");
  const auto found = std::find(tvcopy.begin(), tvcopy.end(), sender);
  if (found == tvcopy.end()) {
    vane::log("TV : copyclicked: index not found");
  } else {
    const auto index = static_cast<std::size_t>(found - tvcopy.begin());
    vane::log("TV : copyclicked: found index: {}", index);
    copySecret(tvpasscode[index]->text());
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
