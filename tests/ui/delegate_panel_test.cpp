// The panel's window: its height, place, roll, dress, and the change of views.

#include <QScreen>

#include "tests/ui/delegate_test.h"
#include "tests/ui/on_event.h"

namespace talvane {
namespace {

using test::Lines;
using Places = std::vector<Place>;

class PanelTest : public DelegateTest {
 protected:
  void watch(const std::string& prefix) {
    app().window(prefix)->moved = [this](Place place) { places.push_back(place); };
  }
  /// The panel's upper edge, from the screen's.
  int top() { return panel()->y() - screen().y(); }

  static QRect screen() { return QGuiApplication::primaryScreen()->geometry(); }
  static int visibleWidth() {
    return QGuiApplication::primaryScreen()->availableGeometry().width();
  }

  /// Where the panel is after a click on the icon and after the next.
  void expectOpensAndCloses(int height) {
    store("Mail");
    app().iconClicked();
    turnEventLoop();
    ASSERT_EQ(openView(), "tv");
    SoftTokenWindow* window = panel();
    EXPECT_EQ(window->height(), height);
    EXPECT_EQ(top(), 22);
    EXPECT_EQ(window->x(), screen().x() + visibleWidth() - 270);
    app().iconClicked();
    turnEventLoop();
    EXPECT_FALSE(window->isVisible());
  }

  Places places;
};

TEST_F(PanelTest, HeightOfEveryView) {
  store("Mail");
  setSettings("AllowManual=1\nEnrolURL=https://srv\n");
  const std::pair<const char*, int> heights[] = {{"tv", 156}, {"cv", 128},   {"av", 160},
                                                 {"mv", 200}, {"rv", 200},   {"eva", 270},
                                                 {"hv", 246}, {"evgi", 500}, {"evgu", 270}};
  for (const auto& [prefix, height] : heights) {
    show(prefix);
    EXPECT_EQ(openView(), prefix);
    EXPECT_EQ(frameOf(QRect(QPoint(), panel()->size())), (Frame{0, 0, 260, height})) << prefix;
  }
}

TEST_F(PanelTest, HeightOfTheTokenView) {
  const std::pair<int, int> heights[] = {{0, 128}, {1, 156}, {2, 228}, {10, 804}};
  for (const auto& [count, height] : heights) {
    keychain.memory.items.clear();
    storeMany(count);
    show("tv");
    EXPECT_EQ(panel()->height(), height) << count;
  }
}

TEST_F(PanelTest, HeightOfTheManagementView) {
  const std::pair<int, int> heights[] = {{0, 128}, {1, 128}, {2, 146}, {10, 386}};
  for (const auto& [count, height] : heights) {
    keychain.memory.items.clear();
    storeMany(count);
    open("cv");
    EXPECT_EQ(panel()->height(), height) << count;
  }
}

TEST_F(PanelTest, WindowThatIsNoneOfTheViewsIs500High) {
  SoftTokenWindow other({0, 0, 260, 10});
  app().openWindow(&other, 30, 40, false);
  EXPECT_EQ(other.height(), 500);
  EXPECT_EQ(other.frameOrigin(), (Place{30, 40}));
  EXPECT_EQ(openView(), "unknown");
  show("tv");  // the close button leaves the window
}

TEST_F(PanelTest, OpeningRollsDownAndEndsExactly) {
  store("Mail");
  watch("tv");
  app().openWindow(app().window("tv"), -1, -1, true);
  const int x = visibleWidth() - 270;
  const int y = screen().height() - 22;
  Places expected{{x, y}};
  for (const int fallen : {15, 30, 45, 60, 75, 90, 105, 120, 135, 150, 156}) {
    expected.push_back({x, y - fallen});
  }
  EXPECT_EQ(places, expected);
  EXPECT_EQ(top(), 22);
}

TEST_F(PanelTest, ClosingRollsUpWithTheRestInTheLastStep) {
  store("Mail");
  show("tv");
  watch("tv");
  app().closeclicked();
  const int x = visibleWidth() - 270;
  const int y = screen().height() - 22 - 156;
  Places expected;
  for (const int risen : {15, 30, 45, 60, 75, 90, 105, 120, 135, 156}) {
    expected.push_back({x, y + risen});
  }
  EXPECT_EQ(places, expected);
  EXPECT_FALSE(app().isOpen());
  EXPECT_EQ(app().openPanel(), nullptr);
}

TEST_F(PanelTest, SwitchingMovesStraightToThePlace) {
  show("tv");
  watch("hv");
  watch("tv");
  click("tvhelp");
  EXPECT_EQ(places, (Places{{visibleWidth() - 270, screen().height() - 22 - 246}}));
}

TEST_F(PanelTest, PlaceThatIsGivenIsTaken) {
  app().openWindow(app().window("hv"), 0, 100, false);
  EXPECT_EQ(panel()->frameOrigin(), (Place{0, 100}));
  EXPECT_EQ(top(), screen().height() - 100 - 246);
}

TEST_F(PanelTest, NoStepsAreNoRoll) {
  setSettings("RollupSteps=0\n");
  expectOpensAndCloses(156);
}

TEST_F(PanelTest, NegativeStepsJumpToTheEnd) {
  setSettings("RollupSteps=-3\n");
  expectOpensAndCloses(156);
}

TEST_F(PanelTest, MoreStepsThanPointsEndWhereTheyShould) {
  setSettings("RollupSteps=2000\n");
  expectOpensAndCloses(156);
}

TEST_F(PanelTest, MostStepsThatTheSettingsTakeEndSoon) {
  setSettings("RollupSteps=2147483647\n");
  expectOpensAndCloses(156);
}

TEST_F(PanelTest, TraceOfOpening) {
  store("Mail|Work mail");
  app();
  clearTrace();
  app().openWindow(app().window("tv"), -1, -1, true);
  const int x = visibleWidth() - 270;
  EXPECT_EQ(traced({"APP: ", "TV : "}),
            (Lines{"APP: openWindow: begin (x:-1 y:-1 roll:1)",
                   "APP: openWindow: reading tokens...", "APP: openWindow: found 1 tokens",
                   "APP: openWindow: token[00] d:Work mail s:GEZDGNBVGY3TQOJQ",
                   "APP: openWindow: calculated tv height: 156",
                   "APP: openWindow: calculated x:" + std::to_string(x) +
                       " y:" + std::to_string(screen().height() - 22),
                   "TV : init: begin", "TV : init: loop start [0]",
                   "TV : init: bAllTokensArePeriod60:0", "TV : init: end",
                   "APP: openWindow: rolling (steps:10 chunk:15)...", "APP: openWindow: end"}));
}

TEST_F(PanelTest, TraceOfOpeningTheManagementView) {
  storeMany(2);
  app();
  clearTrace();
  show("cv");
  const std::string x = std::to_string(visibleWidth() - 270);
  const std::string y = std::to_string(screen().height() - 22 - 146);
  EXPECT_EQ(traced({"APP: ", "CV : "}),
            (Lines{"APP: openWindow: begin (x:-1 y:-1 roll:0)",
                   "APP: openWindow: reading tokens...", "APP: openWindow: found 2 tokens",
                   "APP: openWindow: token[00] d:Token 0 s:GEZDGNBVGY3TQOJQ",
                   "APP: openWindow: token[01] d:Token 1 s:GEZDGNBVGY3TQOJQ",
                   "APP: openWindow: calculated cv height: 146",
                   "APP: openWindow: calculated x:" + x + " y:" + y, "CV : init: begin",
                   "CV : init: loop start [0]", "CV : init: loop start [1]", "CV : init: end",
                   "APP: openWindow: end"}));
}

TEST_F(PanelTest, TraceOfClosing) {
  show("tv");
  clearTrace();
  app().closeclicked();
  EXPECT_EQ(traced({"APP: "}),
            (Lines{"APP: closeWindow: begin (roll:1)",
                   "APP: closeWindow: rolling (steps:10 chunk:12)...", "APP: closeWindow: end"}));
}

TEST_F(PanelTest, TraceOfAPlaceThatIsGiven) {
  app();
  clearTrace();
  app().openWindow(app().window("av"), 5, 6, false);
  EXPECT_EQ(traced({"APP: ", "AV : "}),
            (Lines{"APP: openWindow: begin (x:5 y:6 roll:0)", "AV : init: begin", "AV : init: end",
                   "APP: openWindow: end"}));
}

TEST_F(PanelTest, DressOfThePanel) {
  store("Mail");
  show("tv");
  EXPECT_EQ(panel()->contentView(), background());
  EXPECT_EQ(frameInPanel(background()), (Frame{0, 0, 260, 156}));
  EXPECT_EQ(frameInPanel(logo()), (Frame{0, 0, 260, 34}));
  EXPECT_EQ(frameInPanel(tile()), (Frame{0, 34, 260, 88}));
  EXPECT_EQ(frameInPanel(toolbar()), (Frame{0, 122, 260, 34}));
  EXPECT_EQ(frameInPanel(closeButton()), (Frame{244, 7, 12, 12}));
  EXPECT_EQ(frameInPanel(savedContent()), (Frame{0, 0, 260, 156}));
}

TEST_F(PanelTest, PartsOfTheBackgroundLieInTheirOrder) {
  show("tv");
  // Children that come later are drawn above.
  const QObjectList parts = background()->children();
  EXPECT_LT(parts.indexOf(logo()), parts.indexOf(tile()));
  EXPECT_LT(parts.indexOf(tile()), parts.indexOf(toolbar()));
  EXPECT_LT(parts.indexOf(toolbar()), parts.indexOf(savedContent()));
  EXPECT_LT(parts.indexOf(savedContent()), parts.indexOf(closeButton()));
}

TEST_F(PanelTest, ToolbarButtonsOfEveryView) {
  store("Mail");
  setSettings("AllowManual=1\nEnrolURL=https://srv\n");
  struct Slots {
    const char* prefix;
    const char* left;
    const char* centre;
    const char* right;
  };
  const Slots views[] = {
      {"tv", "tvconfig", "tvhelp", "tvadd"}, {"cv", "cvtrash", "cvhome", "cvadd"},
      {"av", "avcancel", nullptr, nullptr},  {"mv", "mvcancel", nullptr, "mvok"},
      {"rv", "rvok", nullptr, nullptr},      {"hv", "hvhome", nullptr, nullptr}};
  for (const Slots& view : views) {
    show(view.prefix);
    const int y = panel()->height() - 34;
    const std::pair<const char*, int> buttons[] = {
        {view.left, 5}, {view.centre, 90}, {view.right, 175}};
    for (const auto& [name, x] : buttons) {
      if (name == nullptr) continue;
      EXPECT_EQ(frameInPanel(button(name)), (Frame{x, y, 80, 32})) << name;
      EXPECT_TRUE(button(name)->isVisible()) << name;
      EXPECT_EQ(button(name)->font().pixelSize(), 12) << name;
    }
  }
}

TEST_F(PanelTest, ToolbarFontHasTheSizeOfTheSettings) {
  setSettings("ButtonFontSize=15\n");
  show("tv");
  EXPECT_EQ(button("tvhelp")->font().pixelSize(), 15);
}

TEST_F(PanelTest, ToolbarFontThatCannotBeIsMadePossible) {
  for (const char* size : {"0", "-5", "2000000000"}) {
    setSettings(std::string("ButtonFontSize=") + size + "\n");
    launch();
    show("tv");
    EXPECT_GE(button("tvhelp")->font().pixelSize(), 1);
    EXPECT_LE(button("tvhelp")->font().pixelSize(), 32);
  }
}

TEST_F(PanelTest, ClosedWindowHasItsOwnContentBack) {
  show("hv");
  SoftTokenWindow* window = panel();
  QWidget* content = savedContent();
  app().closeWindow(window, false);
  EXPECT_EQ(window->contentView(), content);
  EXPECT_EQ(content->parentWidget(), window);
  EXPECT_EQ(background(), nullptr);
  EXPECT_EQ(savedContent(), nullptr);
  EXPECT_FALSE(window->isVisible());
  EXPECT_FALSE(closeButton()->isVisible());
}

TEST_F(PanelTest, EveryViewCanBeShownAgainAndAgain) {
  store("Mail");
  for (int round = 0; round < 3; ++round) {
    for (const char* prefix : {"tv", "cv", "av", "mv", "rv", "hv", "eva", "evgi", "evgu"}) {
      show(prefix);
      turnEventLoop();
      EXPECT_TRUE(panel()->isVisible());
      EXPECT_TRUE(closeButton()->isVisible());
    }
  }
}

TEST_F(PanelTest, CloseButtonClosesWithTheRoll) {
  show("hv");
  clearTrace();
  QTest::mouseClick(closeButton(), Qt::LeftButton);
  EXPECT_FALSE(app().isOpen());
  EXPECT_EQ(traced({"APP: closeWindow: begin"}), (Lines{"APP: closeWindow: begin (roll:1)"}));
}

TEST_F(PanelTest, CloseButtonIsReachedAboveTheContent) {
  show("tv");
  EXPECT_EQ(panel()->childAt(250, 13), closeButton());
}

TEST_F(PanelTest, EnrolmentWithoutAnAddressAsksForOne) {
  show("eva");
  EXPECT_EQ(openView(), "evgu");
  EXPECT_EQ(find<QLabel>("evgu_message")->text(), QStringLiteral("No enrol URL configured"));
  EXPECT_TRUE(find<QLabel>("evgu_message")->isVisible());
  EXPECT_FALSE(app().window("eva")->isVisible());
}

TEST_F(PanelTest, MessageAboutTheAddressHasTheTextOfTheSettings) {
  setSettings("StrErrNoEnrolURL=Ask your administrator\n");
  show("eva");
  EXPECT_EQ(find<QLabel>("evgu_message")->text(), QStringLiteral("Ask your administrator"));
}

TEST_F(PanelTest, EnrolmentWithAnAddressShowsTheSignIn) {
  setSettings("EnrolURL=https://srv\n");
  show("eva");
  EXPECT_EQ(openView(), "eva");
}

TEST_F(PanelTest, RefreshingReadsTheTokensAnew) {
  store("Mail");
  show("tv");
  ASSERT_EQ(descriptions().size(), 1U);
  store("Bank", seed2);
  app().refreshView(panel());
  ASSERT_EQ(descriptions().size(), 2U);
  EXPECT_EQ(descriptions()[1]->text(), QStringLiteral("Bank"));
  EXPECT_EQ(panel()->height(), 228);
}

TEST_F(PanelTest, RefreshingDoesNotUnmapTheWindow) {
  show("tv");
  store("Mail");
  int hidden = 0;
  test::OnEvent watch(*panel(), QEvent::Hide, [&hidden](QEvent& /*event*/) { ++hidden; });
  app().refreshView(panel());
  EXPECT_EQ(hidden, 0);
  EXPECT_TRUE(panel()->isVisible());
  EXPECT_EQ(rows().size(), 1U);
  EXPECT_EQ(panel()->height(), 156);
}

TEST_F(PanelTest, ClicksThatComeAfterTheViewHasChangedAreDropped) {
  show("hv");
  auto* late = button("hvhome");
  SoftTokenWindow* before = panel();
  app().switchViewfrom(before, app().window("mv"));
  late->click();
  EXPECT_EQ(openView(), "mv");
  app().closeWindow(before, true);
  app().switchViewfrom(before, app().window("tv"));
  EXPECT_EQ(openView(), "mv");
  EXPECT_EQ(find<QLineEdit>("mvdesc")->window(), panel());
}

TEST_F(PanelTest, KeysThatComeAfterThePanelHasClosedAreDropped) {
  show("tv");
  SoftTokenWindow* window = panel();
  for (int i = 0; i < 3; ++i) {
    QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QApplication::sendEvent(window, &escape);
  }
  EXPECT_FALSE(app().isOpen());
  app().closeclicked();
  EXPECT_FALSE(app().isOpen());
}

TEST_F(PanelTest, WindowManagerThatClosesItClosesThePanel) {
  store("Mail");
  show("tv");
  EXPECT_TRUE(panel()->close());
  EXPECT_FALSE(app().isOpen());
  EXPECT_EQ(timer(), nullptr);
  app().iconClicked();
  turnEventLoop();
  EXPECT_EQ(openView(), "tv");
}

TEST_F(PanelTest, OtherViewsHoldNoTokensAndKeepTheCount) {
  storeMany(2);
  show("tv");
  EXPECT_NE(token(0), nullptr);
  show("hv");
  EXPECT_EQ(token(0), nullptr);
  EXPECT_EQ(token(1), nullptr);
  EXPECT_EQ(tokens(), 2);
}

TEST_F(PanelTest, PanelIsBorderlessAndTakesTheKeyboard) {
  show("tv");
  EXPECT_TRUE(panel()->windowFlags().testFlag(Qt::FramelessWindowHint));
  EXPECT_TRUE(panel()->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
  EXPECT_TRUE(panel()->isActiveWindow());
}

TEST_F(PanelTest, PanelCannotBeDragged) {
  show("hv");
  const QPoint before = panel()->pos();
  QTest::mousePress(panel(), Qt::LeftButton, Qt::NoModifier, QPoint(60, 10));
  EXPECT_EQ(panel()->initialLocation(), QPointF(60, 10));
  QTest::mouseMove(panel(), QPoint(100, 60));
  QTest::mouseRelease(panel(), Qt::LeftButton, Qt::NoModifier, QPoint(100, 60));
  EXPECT_EQ(panel()->pos(), before);
  EXPECT_EQ(panel()->initialLocation(), QPointF(60, 10));
}

TEST_F(PanelTest, InitialLocationCanBeSet) {
  SoftTokenWindow window({0, 0, 260, 100});
  EXPECT_EQ(window.initialLocation(), QPointF(0, 0));
  window.setInitialLocation(QPointF(3, 4));
  EXPECT_EQ(window.initialLocation(), QPointF(3, 4));
}

TEST_F(PanelTest, OriginIsTheLowerLeftCornerFromTheScreensLowerEdge) {
  SoftTokenWindow window({0, 0, 260, 100});
  window.setFrameOrigin({30, 40});
  EXPECT_EQ(window.pos(), screen().topLeft() + QPoint(30, screen().height() - 40 - 100));
  EXPECT_EQ(window.frameOrigin(), (Place{30, 40}));
}

TEST_F(PanelTest, ClearViewArrayDeletesWhatIsInIt) {
  QWidget parent;
  std::vector<QWidget*> array{new QWidget(&parent), new QWidget(&parent)};
  SoftTokenOSXAppDelegate::ClearViewArray(array);
  EXPECT_TRUE(array.empty());
  EXPECT_TRUE(parent.children().isEmpty());
}

}  // namespace
}  // namespace talvane
