#include <QDateTime>
#include <QGuiApplication>
#include <QScreen>
#include <algorithm>

#include "engine/text.h"
#include "ui/app_delegate.h"
#include "ui/desktop/pasteboard.h"

namespace talvane {
namespace {

constexpr int trouble_margin = 16;
constexpr int passcode_font_size = 24;
constexpr int row_font_size = 13;
constexpr int milliseconds_a_second = 1000;

// To the next full second, so that a passcode changes on screen when it changes.
int millisecondsToNextSecond() {
  return milliseconds_a_second -
         static_cast<int>(QDateTime::currentMSecsSinceEpoch() % milliseconds_a_second);
}

}  // namespace

int SoftTokenOSXAppDelegate::troubleHeight() const {
  const int text_height = tvtrouble->fontMetrics()
                              .boundingRect(QRect(0, 0, tvtrouble->width(), other_view_height),
                                            Qt::TextWordWrap, QString::fromStdString(trouble_))
                              .height();
  return text_height + 2 * (band_height + trouble_margin);
}

void SoftTokenOSXAppDelegate::clearTokenRows() {
  tvdesc.clear();
  tvpasscode.clear();
  tvcopy.clear();
  // The rows are the parents of the three kinds above.
  ClearViewArray(tvtoken);
  delete tvcountdown;
  tvcountdown = nullptr;
  delete tvview;
  tvview = nullptr;
}

void SoftTokenOSXAppDelegate::tv_init() {
  vane::log("TV : init: begin");
  clearTokenRows();
  tvview = new FlippedView(withoutBands(frameOf(tv->contentView()->geometry())), tv->contentView());
  showTrouble();
  for (std::int32_t i = 0; i < TOKENS; ++i) addTokenRow(i);
  if (TOKENS > 0) {
    tvcountdown = new Countdown(countdownFrame(TOKENS), tvview);
    tvcountdown->setAccessibleName(QStringLiteral("Time left"));
    const bool all_60 = vane::bAllTokensArePeriod60(TOKEN);
    vane::log("TV : init: bAllTokensArePeriod60:{}", all_60 ? 1 : 0);
    tvcountdown->setPeriod(all_60 ? 60 : 30);
    tv_update();
    timer = std::make_unique<QTimer>();
    timer->setTimerType(Qt::PreciseTimer);
    connect(timer.get(), &QTimer::timeout, this, [this] { tv_timer(); });
    timer->start(millisecondsToNextSecond());
  }
  tvconfig->setEnabled(TOKENS > 0);
  tvview->show();
  tvconfig->setText(QString::fromStdString(ini.StrButtonEdit));
  tvhelp->setText(QString::fromStdString(ini.StrButtonHelp));
  tvadd->setText(QString::fromStdString(ini.StrButtonAdd));
  positionToolbarLeft(tvconfig);
  positionToolbarCentre(tvhelp);
  positionToolbarRight(tvadd);
  std::vector<QWidget*> order(tvcopy.begin(), tvcopy.end());
  order.insert(order.end(), {tvconfig, tvhelp, tvadd, close});
  for (std::size_t i = 1; i < order.size(); ++i) QWidget::setTabOrder(order[i - 1], order[i]);
  if (tvcopy.empty()) {
    tvadd->setFocus();
  } else {
    tvcopy.front()->setFocus();
  }
  vane::log("TV : init: end");
}

void SoftTokenOSXAppDelegate::showTrouble() {
  tvtrouble->setVisible(!trouble_.empty());
  tvtrouble->showText(QString::fromStdString(trouble_));
  const Frame room = withoutBands(frameOf(tv->contentView()->geometry()));
  tvtrouble->setGeometry(tvtrouble->x(), room.y, tvtrouble->width(), room.height);
}

void SoftTokenOSXAppDelegate::addTokenRow(int index) {
  vane::log("TV : init: loop start [{}]", index);
  const QString name = QString::fromStdString(
      TOKEN[static_cast<std::size_t>(index)]->currentDescription().value_or(""));
  auto* row =
      new FlippedImageView(tokenRowFrame(index), artwork(QStringLiteral("blue.png"), *tv), tvview);
  tvtoken.push_back(row);

  auto* description = new TextLabel(row);
  description->setGeometry(rectangle(description_frame));
  description->setContentsMargins(6, 0, 6, 0);
  description->setAlignment(Qt::AlignCenter);
  description->setFontSize(row_font_size);
  description->showText(name);
  tvdesc.push_back(description);

  auto* passcode = new TextLabel(row);
  passcode->setGeometry(rectangle(passcode_frame));
  passcode->setAlignment(Qt::AlignCenter);
  // The field reaches below the row: the digits stand in the middle of what is seen of it.
  passcode->setContentsMargins(0, 0, 0, passcode_frame.height - copy_button_frame.height - 10);
  passcode->setFontSize(passcode_font_size);
  passcode->setTextColour(Qt::black);
  tvpasscode.push_back(passcode);

  auto* copy = new PanelButton(row);
  copy->setGeometry(rectangle(copy_button_frame));
  copy->setDress(PanelButton::Dress::light);
  copy->setText(QString::fromStdString(ini.StrButtonCopy));
  copy->setAccessibleName(copy->text() + QStringLiteral(": ") + name);
  connect(copy, &QAbstractButton::clicked, this, [this, copy] { tv_copyclicked(copy); });
  tvcopy.push_back(copy);
}

// Rows beyond the screens' edge are not painted until they come onto it: a panel of 32 tokens is
// much higher than a screen.
void SoftTokenOSXAppDelegate::tv_paintWhatShows() {
  const QScreen* screen = QGuiApplication::primaryScreen();
  if (ow != tv || screen == nullptr) return;
  const QRect screens = screen->virtualGeometry();
  for (FlippedImageView* row : tvtoken) {
    const QRect place(row->mapToGlobal(QPoint(0, 0)), row->size());
    const bool shows = place.intersects(screens);
    if (row->updatesEnabled() != shows) row->setUpdatesEnabled(shows);
  }
}

void SoftTokenOSXAppDelegate::tv_timer() {
  vane::log("TV : timer: ");
  tv_paintWhatShows();
  if (timer) timer->setInterval(millisecondsToNextSecond());
  QMetaObject::invokeMethod(
      this, [this] { tv_update(); }, Qt::QueuedConnection);
  vane::log("TV : timer: end");
}

void SoftTokenOSXAppDelegate::tv_update() {
  const std::int64_t now = gateway_.CurrentTime();
  const bool bar_60 = tvcountdown != nullptr && tvcountdown->period() == 60;
  if (tvcountdown != nullptr) tvcountdown->setValue(static_cast<int>(now % tvcountdown->period()));
  for (std::size_t i = 0; i < tvpasscode.size() && TOKEN[i] != nullptr; ++i) {
    const SoftTokenInfo& token = *TOKEN[i];
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

void SoftTokenOSXAppDelegate::tv_copyclicked(const QAbstractButton* sender) {
  vane::log("TV : copyclicked: begin");
  const auto found = std::find(tvcopy.begin(), tvcopy.end(), sender);
  if (found == tvcopy.end()) {
    vane::log("TV : copyclicked: index not found");
  } else {
    const auto index = static_cast<std::size_t>(found - tvcopy.begin());
    vane::log("TV : copyclicked: found index: {}", index);
    copySecret(tvpasscode[index]->text());
    closeWindow(tv, true);
  }
  vane::log("TV : copyclicked: end");
}

void SoftTokenOSXAppDelegate::tv_editclicked() {
  vane::log("TV : editclicked: begin");
  switchViewfrom(tv, cv);
  vane::log("TV : editclicked: end");
}

void SoftTokenOSXAppDelegate::tv_helpclicked() {
  vane::log("TV : helpclicked: begin");
  switchViewfrom(tv, hv);
  vane::log("TV : helpclicked: end");
}

void SoftTokenOSXAppDelegate::tv_addclicked() {
  vane::log("TV : addclicked: begin");
  addclicked(tv);
  vane::log("TV : addclicked: end");
}

}  // namespace talvane
