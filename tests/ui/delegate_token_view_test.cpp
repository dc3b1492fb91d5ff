// The token view: rows, bar, passcodes as time goes on, and copying.

#include <QClipboard>
#include <QLabel>
#include <QMimeData>

#include "tests/ui/delegate_test.h"

namespace talvane {
namespace {

using test::clock_time;
using test::Lines;

// Passcodes of GEZDGNBVGY3TQOJQ, by counter (RFC 4226 over its first ten bytes).
constexpr const char* code0 = "891490";
constexpr const char* code1 = "263420";
constexpr const char* code2 = "092045";

class TokenViewTest : public DelegateTest {
 protected:
  Lines codes() {
    Lines result;
    for (const TextLabel* label : passcodes()) result.push_back(label->text().toStdString());
    return result;
  }
  std::vector<QRgb> colours() {
    std::vector<QRgb> result;
    for (const TextLabel* label : passcodes()) result.push_back(label->textColour().rgb());
    return result;
  }
  void tick(std::int64_t time) {
    clock_time = time;
    app().tv_timer();
    turnEventLoop();
  }
  static QClipboard& clipboard() { return *QGuiApplication::clipboard(); }
};

constexpr QRgb black = 0xff000000;
constexpr QRgb red = 0xffcc0000;

using Colours = std::vector<QRgb>;

TEST_F(TokenViewTest, FramesOfThreeTokens) {
  storeMany(3);
  show("tv");
  EXPECT_EQ(frameInPanel(tokenList()), (Frame{0, 34, 260, 72 * 3 + 84 - 68}));
  ASSERT_EQ(rows().size(), 3U);
  const int y[] = {12, 84, 156};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(frameOf(rows()[i]->geometry()), (Frame{36, y[i], 212, 60}));
    EXPECT_EQ(rows()[i]->parentWidget(), tokenList());
    EXPECT_EQ(frameOf(descriptions()[i]->geometry()), (Frame{0, 5, 212, 20}));
    EXPECT_EQ(frameOf(passcodes()[i]->geometry()), (Frame{0, 30, 212, 40}));
    EXPECT_EQ(frameOf(copyButtons()[i]->geometry()), (Frame{159, 35, 48, 20}));
    for (const QWidget* part :
         {static_cast<QWidget*>(descriptions()[i]), static_cast<QWidget*>(passcodes()[i]),
          static_cast<QWidget*>(copyButtons()[i])}) {
      EXPECT_EQ(part->parentWidget(), rows()[i]);
      EXPECT_TRUE(part->isVisible());
    }
  }
  EXPECT_EQ(frameOf(countdown()->geometry()), (Frame{12, 12, 12, 204}));
  EXPECT_EQ(countdown()->parentWidget(), tokenList());
}

TEST_F(TokenViewTest, TextsOfARow) {
  setSettings("StrButtonCopy=Take\n");
  store("Mail|Work mail");
  show("tv");
  EXPECT_EQ(descriptions()[0]->text(), QStringLiteral("Work mail"));
  EXPECT_EQ(descriptions()[0]->textColour(), QColor(Qt::white));
  EXPECT_EQ(descriptions()[0]->alignment(), Qt::AlignCenter);
  EXPECT_EQ(passcodes()[0]->alignment(), Qt::AlignCenter);
  EXPECT_EQ(passcodes()[0]->font().pixelSize(), 24);
  EXPECT_EQ(copyButtons()[0]->text(), QStringLiteral("Take"));
}

TEST_F(TokenViewTest, TextOfTheUserIsNotMarkup) {
  store("<b>Mail</b> & more");
  show("tv");
  EXPECT_EQ(descriptions()[0]->text(), QStringLiteral("<b>Mail</b> & more"));
  EXPECT_EQ(descriptions()[0]->textFormat(), Qt::PlainText);
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
  EXPECT_EQ(countdown(), nullptr);
  EXPECT_EQ(timer(), nullptr);
  EXPECT_FALSE(button("tvconfig")->isEnabled());
  EXPECT_TRUE(button("tvadd")->isEnabled());
  EXPECT_EQ(caption("tvconfig"), "Edit");
}

TEST_F(TokenViewTest, EditIsThereAgainWithTheFirstToken) {
  show("tv");
  store("Mail");
  app().refreshView(panel());
  EXPECT_TRUE(button("tvconfig")->isEnabled());
  EXPECT_NE(timer(), nullptr);
}

TEST_F(TokenViewTest, PasscodesAreThereAtOnce) {
  clock_time = 45;
  store("Mail");
  show("tv");
  EXPECT_EQ(codes(), (Lines{code1}));
  EXPECT_EQ(countdown()->value(), 15);
  EXPECT_EQ(countdown()->period(), 30);
}

TEST_F(TokenViewTest, EachPasscodeChangesAtItsOwnStep) {
  store("Short", seed1, 30);
  store("Long", seed1, 60);
  clock_time = 29;
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
  clock_time = 45;
  show("tv");
  EXPECT_EQ(countdown()->period(), 60);
  EXPECT_EQ(countdown()->value(), 45);
  store("Three", seed1, 30);
  app().refreshView(panel());
  EXPECT_EQ(countdown()->period(), 30);
  EXPECT_EQ(countdown()->value(), 15);
}

TEST_F(TokenViewTest, ColoursUnderABarOfThirty) {
  store("Short", seed1, 30);
  store("Long", seed1, 60);
  clock_time = 25;
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
  clock_time = 10;  // an index of -20
  show("tv");
  EXPECT_EQ(colours(), (Colours{black}));
  tick(45);
  EXPECT_EQ(colours(), (Colours{black}));
  tick(52);
  EXPECT_EQ(colours(), (Colours{0xff330000}));  // 0.2
  tick(59);
  EXPECT_EQ(colours(), (Colours{red}));
}

TEST_F(TokenViewTest, TickIsTraced) {
  store("Mail|Work");
  clock_time = 31;
  show("tv");
  clearTrace();
  clock_time = 55;
  app().tv_timer();
  EXPECT_EQ(traced({"TV : ", "timer: "}), (Lines{"TV : timer: ", "TV : timer: end"}));
  turnEventLoop();
  EXPECT_EQ(traced({"TV : ", "timer: "}),
            (Lines{"TV : timer: ", "TV : timer: end", "timer: token [00] d:Work s:GEZDGNBVGY3TQOJQ",
                   "timer: token [00] period:30 , using color index:25"}));
}

TEST_F(TokenViewTest, TimerTicksByItself) {
  store("Mail");
  clock_time = 29;
  show("tv");
  ASSERT_NE(timer(), nullptr);
  EXPECT_TRUE(timer()->isActive());
  clock_time = 30;
  EXPECT_TRUE(QTest::qWaitFor([this] { return codes() == Lines{code1}; }, 3000));
  clock_time = 60;
  EXPECT_TRUE(QTest::qWaitFor([this] { return codes() == Lines{code2}; }, 3000));
}

TEST_F(TokenViewTest, TimerStopsWhenThePanelCloses) {
  store("Mail");
  show("tv");
  app().closeclicked();
  EXPECT_EQ(timer(), nullptr);
  clearTrace();
  QTest::qWait(1200);
  EXPECT_EQ(traced({"TV : timer"}), Lines());
}

TEST_F(TokenViewTest, TickThatComesAfterClosingDoesNoHarm) {
  store("Mail");
  show("tv");
  app().tv_timer();
  app().closeclicked();
  turnEventLoop();
  EXPECT_FALSE(app().isOpen());
}

TEST_F(TokenViewTest, RebuildLeavesOneTimer) {
  store("Mail");
  show("tv");
  app().refreshView(panel());
  app().refreshView(panel());
  clearTrace();
  QTest::qWait(1500);
  const std::size_t ticks = traced({"TV : timer: end"}).size();
  EXPECT_GE(ticks, 1U);
  EXPECT_LE(ticks, 2U);
}

TEST_F(TokenViewTest, CopyTakesThePasscodeOfItsRow) {
  clock_time = 45;
  store("Other", seed2);
  store("Mail", seed1);
  show("tv");
  clipboard().setText(QStringLiteral("before"));
  clearTrace();
  QTest::mouseClick(copyButtons()[1], Qt::LeftButton);
  turnEventLoop();
  EXPECT_EQ(clipboard().text(), QLatin1String(code1));
  EXPECT_FALSE(app().isOpen());
  EXPECT_EQ(traced({"TV : ", "APP: closeWindow: begin"}),
            (Lines{"TV : copyclicked: begin", "TV : copyclicked: found index: 1",
                   "APP: closeWindow: begin (roll:1)", "TV : copyclicked: end"}));
}

TEST_F(TokenViewTest, CopyTakesWhatIsShown) {
  clock_time = 29;
  store("Mail");
  show("tv");
  clock_time = 30;  // the tick is still to come
  QTest::mouseClick(copyButtons()[0], Qt::LeftButton);
  EXPECT_EQ(clipboard().text(), QLatin1String(code0));
}

TEST_F(TokenViewTest, CopyClosesWhateverTheSettingsSay) {
  setSettings("CloseOnCopy=0\nCopyButton=0\n");
  store("Mail");
  show("tv");
  ASSERT_EQ(copyButtons().size(), 1U);
  EXPECT_TRUE(copyButtons()[0]->isVisible());
  QTest::mouseClick(copyButtons()[0], Qt::LeftButton);
  EXPECT_FALSE(app().isOpen());
}

TEST_F(TokenViewTest, CopyIsMarkedAsASecret) {
  store("Mail");
  show("tv");
  QTest::mouseClick(copyButtons()[0], Qt::LeftButton);
  const QMimeData* content = clipboard().mimeData();
  EXPECT_EQ(content->data(QStringLiteral("x-kde-passwordManagerHint")), QByteArray("secret"));
  EXPECT_EQ(content->text().size(), 6);
}

TEST_F(TokenViewTest, CopyFromAnUnknownSenderIsIgnored) {
  store("Mail");
  show("tv");
  clipboard().setText(QStringLiteral("before"));
  clearTrace();
  const PanelButton unknown;
  app().tv_copyclicked(&unknown);
  EXPECT_EQ(clipboard().text(), QStringLiteral("before"));
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(traced({"TV : "}),
            (Lines{"TV : copyclicked: begin", "TV : copyclicked: index not found",
                   "TV : copyclicked: end"}));
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

TEST_F(TokenViewTest, DamagedSlotHidesTheOnesBehindIt) {
  storeMany(3);
  for (auto& [name, secret] : keychain.memory.items) {
    if (name.first == "TalvaneSoftToken5021") secret = Bytes{1, 2, 3};
  }
  show("tv");
  EXPECT_EQ(rows().size(), 1U);
  EXPECT_EQ(panel()->height(), 156);
}

TEST_F(TokenViewTest, ThirtyTwoTokensAreAllShown) {
  storeMany(32);
  show("tv");
  ASSERT_EQ(rows().size(), 32U);
  EXPECT_EQ(frameOf(rows()[31]->geometry()), (Frame{36, 12 + 31 * 72, 212, 60}));
  EXPECT_EQ(panel()->height(), 2388);
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
  EXPECT_FALSE(button("tvconfig")->isEnabled());
  EXPECT_GE(panel()->height(), 128);
  EXPECT_EQ(keychain.memory.items.size(), 1U);
}

TEST_F(TroubleTest, EveryFailureButAMissingItemIsTold) {
  for (const test::Failure& failure : test::failures) {
    fail(failure.status);
    show("tv");
    const bool silent = failure.status == KeychainStatus::item_not_found ||
                        failure.status == KeychainStatus::cannot_decode;
    EXPECT_EQ(words()->isVisible(), !silent) << failure.number;
  }
}

TEST_F(TroubleTest, WordsGoWithTheTrouble) {
  store("Mail");
  fail(KeychainStatus::not_available);
  show("tv");
  EXPECT_TRUE(words()->isVisible());
  fault = nullptr;
  app().refreshView(panel());
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
  fail(KeychainStatus::interaction_not_allowed);
  open("cv");
  turnEventLoop();
  EXPECT_EQ(openView(), "tv");
  EXPECT_TRUE(words()->isVisible());
}

}  // namespace
}  // namespace talvane
