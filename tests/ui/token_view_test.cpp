// The token view: rows, bar, passcodes as time goes on, and copying.

#include <QClipboard>
#include <QLabel>
#include <QMimeData>

#include "tests/ui/app_test.h"
#include "ui/kit/countdown.h"
#include "ui/kit/hover_text.h"
#include "ui/kit/look.h"
#include "ui/kit/text_label.h"

namespace talvane {
namespace {

using test::Lines;

// Passcodes of GEZDGNBVGY3TQOJQ, by counter (RFC 4226 over its first ten bytes).
constexpr const char* code0 = "891490";
constexpr const char* code1 = "263420";
constexpr const char* code2 = "092045";

class TokenViewTest : public AppTest {
 protected:
  static std::vector<QWidget*> rows() { return all<QWidget>("tvtoken"); }
  static Countdown* countdown() { return dynamic_cast<Countdown*>(find<QWidget>("tvcountdown")); }
  static void copy(std::size_t row) {
    QTest::mouseClick(all<QAbstractButton>("tvcopy").at(row), Qt::LeftButton);
    turnEventLoop();
  }
  /// As after a change that another program has made.
  void showAnew() { show("tv"); }
  static std::vector<QRgb> colours() {
    std::vector<QRgb> result;
    for (const QLabel* label : all<QLabel>("tvpasscode")) {
      result.push_back(dynamic_cast<const TextLabel&>(*label).textColour().rgb());
    }
    return result;
  }
  static QClipboard& clipboard() { return *QGuiApplication::clipboard(); }
};

constexpr QRgb black = 0xff000000;
constexpr QRgb red = 0xffcc0000;

using Colours = std::vector<QRgb>;

TEST_F(TokenViewTest, RowsAndTheBarStandWhereTheyShould) {
  storeMany(3);
  show("tv");
  EXPECT_EQ(frameInPanel(find<QWidget>("tvview")), withoutBands({0, 0, 260, tokenViewHeight(3)}));
  ASSERT_EQ(rows().size(), 3U);
  for (int i = 0; i < 3; ++i) {
    const QWidget* row = rows()[static_cast<std::size_t>(i)];
    EXPECT_EQ(frameOf(row->geometry()), tokenRowFrame(i));
    EXPECT_EQ(row->parentWidget(), find<QWidget>("tvview"));
    const std::pair<const char*, Frame> parts[] = {{"tvdesc", description_frame},
                                                   {"tvpasscode", passcode_frame},
                                                   {"tvcopy", copy_button_frame}};
    for (const auto& [name, frame] : parts) {
      const auto* part = row->findChild<QWidget*>(QLatin1String(name));
      ASSERT_NE(part, nullptr) << name;
      EXPECT_EQ(frameOf(part->geometry()), frame) << name;
      EXPECT_TRUE(part->isVisible()) << name;
    }
  }
  EXPECT_EQ(frameOf(countdown()->geometry()), countdownFrame(3));
  EXPECT_EQ(countdown()->parentWidget(), find<QWidget>("tvview"));
}

TEST_F(TokenViewTest, TextsOfARow) {
  setSettings("StrButtonCopy=Take\n");
  store("Mail|Work mail");
  show("tv");
  const auto* description = find<QLabel>("tvdesc");
  EXPECT_EQ(description->text(), QStringLiteral("Work mail"));
  EXPECT_EQ(description->alignment(), Qt::AlignCenter);
  EXPECT_EQ(colourOf("tvdesc"), QColor(Qt::white));
  EXPECT_EQ(find<QLabel>("tvpasscode")->alignment(), Qt::AlignCenter);
  EXPECT_EQ(find<QLabel>("tvpasscode")->font().pixelSize(), 24);
  EXPECT_EQ(caption("tvcopy"), "Take");
}

TEST_F(TokenViewTest, TextOfTheUserIsNotMarkup) {
  store("<b>Mail</b> & more");
  show("tv");
  EXPECT_EQ(textOf("tvdesc"), "<b>Mail</b> & more");
  EXPECT_EQ(find<QLabel>("tvdesc")->textFormat(), Qt::PlainText);
}

TEST_F(TokenViewTest, ToolbarTitlesOfTheSettings) {
  setSettings("StrButtonEdit=E\nStrButtonHelp=H\nStrButtonAdd=A\n");
  show("tv");
  EXPECT_EQ(caption("tvconfig"), "E");
  EXPECT_EQ(caption("tvhelp"), "H");
  EXPECT_EQ(caption("tvadd"), "A");
}

TEST_F(TokenViewTest, NoTokens) {
  show("tv");
  EXPECT_TRUE(rows().empty());
  EXPECT_TRUE(all<QWidget>("tvcountdown").empty());
  EXPECT_TRUE(all<QTimer>("timer").empty());
  EXPECT_FALSE(button("tvconfig")->isEnabled());
  EXPECT_TRUE(button("tvadd")->isEnabled());
  EXPECT_EQ(caption("tvconfig"), "Edit");
}

TEST_F(TokenViewTest, NoTokensAndHowToGetOne) {
  const std::pair<const char*, const char*> cases[] = {
      {"AllowManual=1\nAllowTaEnrol=1\n",
       "No tokens yet. Press Add to enrol at a server or type a key, or drop a link or QR code "
       "image "
       "here."},
      {"AllowManual=1\nAllowTaEnrol=0\n",
       "No tokens yet. Press Add to type a key, or drop a link or QR code image here."},
      {"AllowManual=0\nAllowTaEnrol=1\nStrButtonAdd=New\n",
       "No tokens yet. Press New to enrol at a server."},
      {"AllowManual=0\nAllowTaEnrol=0\n",
       "No tokens yet. You cannot add any here; ask your administrator how to get one."}};
  for (const auto& [settings, words] : cases) {
    setSettings(settings);
    launch();
    show("tv");
    EXPECT_EQ(textOf("tvhint"), words);
    EXPECT_TRUE(find<QLabel>("tvhint")->isVisible());
    EXPECT_EQ(hoverText(*find<QLabel>("tvhint")), QString()) << "it is cut";
    EXPECT_EQ(panel()->height(), 128) << words;
    EXPECT_FALSE(button("tvconfig")->isEnabled());
  }
  store("Mail");
  showAnew();
  EXPECT_FALSE(find<QLabel>("tvhint")->isVisible());
}

TEST_F(TokenViewTest, EditIsThereAgainWithTheFirstToken) {
  show("tv");
  store("Mail");
  showAnew();
  EXPECT_TRUE(button("tvconfig")->isEnabled());
  EXPECT_EQ(all<QTimer>("timer").size(), 1U);
}

TEST_F(TokenViewTest, PasscodesAreThereAtOnce) {
  clock = 45;
  store("Mail");
  show("tv");
  EXPECT_EQ(codes(), (Lines{code1}));
  EXPECT_EQ(countdown()->value(), 15);
  EXPECT_EQ(countdown()->period(), 30);
}

TEST_F(TokenViewTest, EachPasscodeChangesAtItsOwnStep) {
  store("Short", seed1, 30);
  store("Long", seed1, 60);
  clock = 29;
  show("tv");
  EXPECT_EQ(countdown()->period(), 30);
  EXPECT_EQ(codes(), (Lines{code0, code0}));
  tick(30);
  EXPECT_EQ(codes(), (Lines{code1, code0}));
  tick(59);
  EXPECT_EQ(codes(), (Lines{code1, code0}));
  tick(60);
  EXPECT_EQ(codes(), (Lines{code2, code1}));
}

TEST_F(TokenViewTest, BarRunsOnSixtyOnlyWhereAllTokensDo) {
  store("One", seed1, 60);
  store("Two", seed2, 60);
  clock = 45;
  show("tv");
  EXPECT_EQ(countdown()->period(), 60);
  EXPECT_EQ(countdown()->value(), 45);
  store("Three", seed1, 30);
  showAnew();
  EXPECT_EQ(countdown()->period(), 30);
  EXPECT_EQ(countdown()->value(), 15);
}

TEST_F(TokenViewTest, ColoursUnderABarOfThirty) {
  store("Short", seed1, 30);
  store("Long", seed1, 60);
  clock = 25;
  show("tv");
  EXPECT_EQ(colours(), (Colours{red, black}));
  tick(30);
  EXPECT_EQ(colours(), (Colours{black, black}));
  tick(54);
  EXPECT_EQ(colours(), (Colours{0xff990000, 0xff990000}));  // 0.6
  tick(55);
  EXPECT_EQ(colours(), (Colours{red, red}));
}

TEST_F(TokenViewTest, ColoursUnderABarOfSixty) {
  store("Long", seed1, 60);
  clock = 10;  // an index of -20
  show("tv");
  EXPECT_EQ(colours(), (Colours{black}));
  tick(45);
  EXPECT_EQ(colours(), (Colours{black}));
  tick(52);
  EXPECT_EQ(colours(), (Colours{0xff330000}));  // 0.2
  tick(59);
  EXPECT_EQ(colours(), (Colours{red}));
}

TEST_F(TokenViewTest, OpeningIsTraced) {
  store("Mail|Work mail");
  app();
  clearTrace();
  clickIcon();
  const QRect screen = QGuiApplication::primaryScreen()->geometry();
  const Place place = defaultPlace({screen.height(), screen.width()}, 156, true);
  EXPECT_EQ(traced({"APP: openWindow", "TV : init"}),
            (Lines{"APP: openWindow: begin (x:-1 y:-1 roll:1)",
                   "APP: openWindow: reading tokens...", "APP: openWindow: found 1 tokens",
                   "APP: openWindow: token[00] d:Work mail s:GEZDGNBVGY3TQOJQ",
                   "APP: openWindow: calculated tv height: 156",
                   "APP: openWindow: calculated x:" + std::to_string(place.x) +
                       " y:" + std::to_string(place.y),
                   "TV : init: begin", "TV : init: loop start [0]",
                   "TV : init: bAllTokensArePeriod60:0", "TV : init: end",
                   "APP: openWindow: rolling (steps:10 chunk:15)...", "APP: openWindow: end"}));
}

TEST_F(TokenViewTest, TickIsTraced) {
  store("Mail|Work");
  clock = 31;
  show("tv");
  clearTrace();
  clock = 55;
  QMetaObject::invokeMethod(find<QTimer>("timer"), "timeout");
  EXPECT_EQ(traced({"TV : ", "timer: "}), (Lines{"TV : timer: ", "TV : timer: end"}));
  turnEventLoop();
  EXPECT_EQ(traced({"TV : ", "timer: "}),
            (Lines{"TV : timer: ", "TV : timer: end", "timer: token [00] d:Work s:GEZDGNBVGY3TQOJQ",
                   "timer: token [00] period:30 , using color index:25"}));
}

TEST_F(TokenViewTest, TimerTicksByItself) {
  store("Mail");
  clock = 29;
  show("tv");
  clock = 30;
  EXPECT_TRUE(QTest::qWaitFor([] { return codes() == Lines{code1}; }, 3000));
  clock = 60;
  EXPECT_TRUE(QTest::qWaitFor([] { return codes() == Lines{code2}; }, 3000));
}

TEST_F(TokenViewTest, TimerTicksOnFullSeconds) {
  constexpr std::int64_t second = 1000;
  constexpr std::int64_t tolerance = 100;
  const auto expectFullSecond = [] {
    const std::int64_t at =
        QDateTime::currentMSecsSinceEpoch() + find<QTimer>("timer")->remainingTime();
    EXPECT_LE((at + tolerance) % second, 2 * tolerance) << at;
  };
  store("Mail");
  // At several moments of a second.
  for (int i = 0; i < 3; ++i) {
    show("tv");
    expectFullSecond();
    QTest::qWait(270);
    tick(clock);
    expectFullSecond();
  }
}

TEST_F(TokenViewTest, TimerStopsWhenThePanelCloses) {
  store("Mail");
  show("tv");
  clickIcon();
  EXPECT_TRUE(all<QTimer>("timer").empty());
  clearTrace();
  QTest::qWait(1200);
  EXPECT_EQ(traced({"TV : timer"}), Lines());
}

TEST_F(TokenViewTest, TickThatComesAfterClosingDoesNoHarm) {
  store("Mail");
  show("tv");
  QMetaObject::invokeMethod(find<QTimer>("timer"), "timeout");
  QTest::keyClick(panel(), Qt::Key_Escape);
  turnEventLoop();
  EXPECT_EQ(openView(), "");
}

TEST_F(TokenViewTest, RebuildLeavesOneTimer) {
  store("Mail");
  show("tv");
  click("tvhelp");
  click("hvhome");
  click("tvhelp");
  click("hvhome");
  clearTrace();
  QTest::qWait(1500);
  const std::size_t ticks = traced({"TV : timer: end"}).size();
  EXPECT_GE(ticks, 1U);
  EXPECT_LE(ticks, 2U);
}

TEST_F(TokenViewTest, CopyTakesThePasscodeOfItsRow) {
  clock = 45;
  store("Other", seed2);
  store("Mail", seed1);
  show("tv");
  clipboard().setText(QStringLiteral("before"));
  clearTrace();
  copy(1);
  EXPECT_EQ(clipboard().text(), QLatin1String(code1));
  EXPECT_EQ(openView(), "");
  EXPECT_EQ(traced({"TV : ", "APP: closeWindow: begin"}),
            (Lines{"TV : copyclicked: begin", "TV : copyclicked: found index: 1",
                   "APP: closeWindow: begin (roll:1)", "TV : copyclicked: end"}));
}

TEST_F(TokenViewTest, CopyTakesWhatIsShown) {
  clock = 29;
  store("Mail");
  show("tv");
  clock = 30;  // the tick is still to come
  copy(0);
  EXPECT_EQ(clipboard().text(), QLatin1String(code0));
}

TEST_F(TokenViewTest, CopyClosesWhateverTheSettingsSay) {
  setSettings("CloseOnCopy=0\nCopyButton=0\n");
  store("Mail");
  show("tv");
  EXPECT_TRUE(button("tvcopy")->isVisible());
  clearTrace();
  copy(0);
  EXPECT_EQ(openView(), "");
  EXPECT_EQ(traced({"APP: closeWindow: begin"}), (Lines{"APP: closeWindow: begin (roll:1)"}));
}

TEST_F(TokenViewTest, CopyIsMarkedAsASecret) {
  store("Mail");
  show("tv");
  copy(0);
  const QMimeData* content = clipboard().mimeData();
  EXPECT_EQ(content->data(QStringLiteral("x-kde-passwordManagerHint")), QByteArray("secret"));
  EXPECT_EQ(content->text().size(), 6);
}

TEST_F(TokenViewTest, ButtonsLeadToTheirViews) {
  store("Mail");
  show("tv");
  clearTrace();
  click("tvconfig");
  EXPECT_EQ(openView(), "cv");
  show("tv");
  click("tvhelp");
  EXPECT_EQ(openView(), "hv");
  EXPECT_EQ(traced({"TV : edit", "TV : help"}),
            (Lines{"TV : editclicked: begin", "TV : editclicked: end", "TV : helpclicked: begin",
                   "TV : helpclicked: end"}));
}

TEST_F(TokenViewTest, ThirtyTwoTokensAreAllShown) {
  storeMany(32);
  show("tv");
  ASSERT_EQ(rows().size(), 32U);
  EXPECT_EQ(panel()->height(),
            QGuiApplication::primaryScreen()->geometry().height() - menu_bar_height);
  EXPECT_EQ(rows().back()->y() + rows().back()->height() + 16,
            rows().back()->parentWidget()->height());
}

class TroubleTest : public TokenViewTest {
 protected:
  void fail(KeychainStatus status) {
    fault = [status](test::FaultyKeychain::Call /*call*/) { return status; };
  }
  QLabel* words() { return find<QLabel>("tvtrouble"); }
};

TEST_F(TroubleTest, LockedKeychainIsToldInPlaceOfTheList) {
  store("Mail");
  fail(KeychainStatus::interaction_not_allowed);
  show("tv");
  EXPECT_TRUE(words()->isVisible());
  EXPECT_EQ(words()->text(), QStringLiteral("words for -25308 [-25308]"));
  EXPECT_TRUE(rows().empty());
  EXPECT_FALSE(find<QLabel>("tvhint")->isVisible());
  EXPECT_FALSE(button("tvconfig")->isEnabled());
  EXPECT_EQ(panel()->height(), 128);
  EXPECT_EQ(keychain.memory.items.size(), 1U);
}

TEST_F(TroubleTest, EveryFailureButAMissingItemIsTold) {
  for (const test::Failure& failure : test::failures) {
    fail(failure.status);
    show("tv");
    EXPECT_EQ(words()->isVisible(), failure.status != KeychainStatus::item_not_found)
        << failure.number;
  }
}

TEST_F(TroubleTest, WordsGoWithTheTrouble) {
  store("Mail");
  fail(KeychainStatus::not_available);
  show("tv");
  EXPECT_TRUE(words()->isVisible());
  fault = nullptr;
  showAnew();
  EXPECT_FALSE(words()->isVisible());
  EXPECT_EQ(words()->text(), QString());
  EXPECT_EQ(rows().size(), 1U);
}

TEST_F(TroubleTest, EmptyStoreIsNoTrouble) {
  show("tv");
  EXPECT_FALSE(words()->isVisible());
}

TEST_F(TroubleTest, ManagementViewReturnsToTheWords) {
  store("Mail");
  show("cv");
  fail(KeychainStatus::interaction_not_allowed);
  click("cvhome");
  EXPECT_EQ(openView(), "tv");
  EXPECT_TRUE(words()->isVisible());
}

class UnlockTest : public TroubleTest {
 protected:
  UnlockTest() {
    store("Mail");
    fail(KeychainStatus::interaction_not_allowed);
    keychain.unlocks = [this](const std::function<bool()>& /*given_up*/) {
      ++asked_;
      if (agrees_) fault = nullptr;
      return agrees_ ? KeychainStatus::ok : KeychainStatus::interaction_not_allowed;
    };
  }
  static std::string focus() { return QApplication::focusWidget()->objectName().toStdString(); }

  int asked_ = 0;
  bool agrees_ = true;
};

TEST_F(UnlockTest, ButtonStandsUnderTheWordsAndHasTheKeyboard) {
  show("tv");
  EXPECT_EQ(caption("tvunlock"), "Unlock");
  EXPECT_TRUE(button("tvunlock")->isVisible());
  EXPECT_EQ(focus(), "tvunlock");
  const Frame above = frameInPanel(words());
  const Frame below = frameInPanel(button("tvunlock"));
  EXPECT_LT(above.y + above.height, below.y);
  EXPECT_LT(below.y + below.height, panel()->height() - band_height);
  EXPECT_EQ(hoverText(*words()), QString()) << "it is cut";
  EXPECT_EQ(asked_, 0);
}

TEST_F(UnlockTest, ListAppearsOnceTheUserHasUnlockedIt) {
  show("tv");
  click("tvunlock");
  EXPECT_EQ(asked_, 1);
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(codes().size(), 1U);
  EXPECT_FALSE(words()->isVisible());
  EXPECT_FALSE(button("tvunlock")->isVisible());
  EXPECT_EQ(focus(), "tvcopy");
  EXPECT_TRUE(all<QTimer>("locktimer").empty());
  EXPECT_EQ(alerts.texts(), Lines());
}

TEST_F(UnlockTest, RefusalLeavesTheWordsAndTheButton) {
  agrees_ = false;
  show("tv");
  click("tvunlock");
  EXPECT_EQ(asked_, 1);
  EXPECT_TRUE(words()->isVisible());
  EXPECT_TRUE(button("tvunlock")->isVisible());
  EXPECT_EQ(focus(), "tvunlock");
  EXPECT_EQ(alerts.texts(), Lines());
}

TEST_F(UnlockTest, ListAppearsWhenItIsUnlockedElsewhere) {
  show("tv");
  clearTrace();
  QTest::qWait(1200);
  EXPECT_EQ(traced({""}), Lines()) << "looking again is not traced";
  fault = nullptr;
  EXPECT_TRUE(QTest::qWaitFor([] { return codes().size() == 1; }, 3000));
  EXPECT_EQ(asked_, 0);
}

TEST_F(UnlockTest, ClosedPanelLooksNoMore) {
  show("tv");
  clickIcon();
  EXPECT_TRUE(all<QTimer>("locktimer").empty());
  const std::size_t calls = keychain.calls;
  QTest::qWait(1200);
  EXPECT_EQ(keychain.calls, calls);
}

TEST_F(UnlockTest, KeychainThatCannotAskOffersNothing) {
  keychain.unlocks = nullptr;
  show("tv");
  EXPECT_FALSE(button("tvunlock")->isVisible());
  EXPECT_TRUE(all<QTimer>("locktimer").empty());
}

TEST_F(UnlockTest, OtherFailuresOfferNothing) {
  fail(KeychainStatus::not_responding);
  show("tv");
  EXPECT_TRUE(words()->isVisible());
  EXPECT_FALSE(button("tvunlock")->isVisible());
}

// A record that does not load, and a slot that is empty, hide what is behind them: the rows that
// can be shown are, with the words about the others above them.

TEST_F(TroubleTest, RecordThatIsDamagedIsToldAboveTheRows) {
  storeMany(4);
  for (auto& [name, secret] : keychain.memory.items) {
    if (name.first == "TalvaneSoftToken5021") secret = Bytes{1, 2, 3};
  }
  show("tv");
  EXPECT_EQ(rows().size(), 1U);
  EXPECT_TRUE(words()->isVisible());
  EXPECT_EQ(textOf("tvtrouble"),
            "The record in slot 1 is damaged and hides the 2 tokens after it; restore the keychain "
            "from a backup, or delete it in Edit and add the token again");
  EXPECT_EQ(hoverText(*words()), QString()) << "it is cut";
  const Frame place = frameInPanel(words());
  const Frame row = frameInPanel(rows().front());
  EXPECT_GE(place.y, band_height);
  EXPECT_LT(place.y + place.height, row.y);
  EXPECT_EQ(row.y + row.height + 16, panel()->height() - band_height);
  EXPECT_EQ(frameOf(rows().front()->geometry()), tokenRowFrame(0));
  EXPECT_EQ(codes(), (Lines{code0}));
}

TEST_F(TroubleTest, EmptySlotWithTokensBehindItIsTold) {
  storeMany(2);
  keychain.memory.items.erase({"TalvaneSoftToken5020", "ada"});
  show("tv");
  EXPECT_TRUE(rows().empty());
  EXPECT_TRUE(words()->isVisible());
  EXPECT_NE(words()->text().indexOf(QStringLiteral("Slot 0")), -1) << textOf("tvtrouble");
}

}  // namespace
}  // namespace talvane
