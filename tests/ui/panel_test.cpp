// The panel by itself, with views of the test's own.

#include "ui/panel/panel.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QDragEnterEvent>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QMimeData>
#include <QScreen>
#include <QScrollBar>
#include <QTest>
#include <QWheelEvent>
#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "engine/vane.h"
#include "platform/memory/memory_keychain.h"
#include "tests/platform/fake_device_identifiers.h"
#include "tests/support/fake_gateway.h"
#include "tests/support/memory_user_defaults.h"
#include "tests/support/private_home.h"
#include "tests/ui/frames.h"
#include "tests/ui/on_event.h"
#include "ui/kit/look.h"
#include "ui/panel/panel_geometry.h"
#include "ui/panel/roll.h"
#include "ui/panel/screens.h"

namespace talvane {
namespace {

using Lines = std::vector<std::string>;
using namespace std::chrono_literals;

constexpr int height_of_test_views = 156;

// A field, two rows to walk through, and two buttons.
class TestView final : public View {
 public:
  TestView(Panel& panel, const char* name, int height = height_of_test_views)
      : View(name, height), panel_(panel) {
    QWidget* content = window()->contentView();
    field = new QLineEdit(content);
    field->setGeometry(10, 40, 100, 20);
    for (PanelButton*& button : buttons) button = new PanelButton(content);
    for (std::size_t i = 0; i < rows_.size(); ++i) {
      rows_[i] = new PanelButton(content);
      rows_[i]->setGeometry(10, 60 + 20 * static_cast<int>(i), 100, 20);
    }
    onClick(buttons[0], [this] { ++accepted; });
    onClick(buttons[1], [this] { ++cancelled; });
  }

  void init() override {
    ++inits;
    panel_.positionToolbarLeft(buttons[0]);
    panel_.positionToolbarCentre(buttons[1]);
    panel_.positionToolbarRight(buttons[2]);
    field->setFocus();
  }
  void closed() override { ++closes; }
  void released() override { ++releases; }
  View* standIn() override { return stand_in; }
  [[nodiscard]] QAbstractButton* accepting() const override { return buttons[0]; }
  [[nodiscard]] QAbstractButton* cancelling() const override {
    return can_cancel ? buttons[1] : nullptr;
  }
  [[nodiscard]] std::vector<QWidget*> rows() const override {
    return has_rows ? std::vector<QWidget*>{rows_[0], rows_[1]} : std::vector<QWidget*>();
  }
  bool keyPressed(const QKeyEvent& event) override {
    keys.push_back(event.key());
    return true;
  }

  QLineEdit* field = nullptr;
  std::array<PanelButton*, 3> buttons{};
  std::array<PanelButton*, 2> rows_{};
  View* stand_in = nullptr;
  bool can_cancel = true;
  bool has_rows = true;
  int inits = 0;
  int closes = 0;
  int releases = 0;
  int accepted = 0;
  int cancelled = 0;
  std::vector<int> keys;

 private:
  Panel& panel_;
};

class PanelTest : public testing::Test {
 protected:
  PanelTest() { vane::SetInterface(&log); }
  ~PanelTest() override { vane::SetInterface(nullptr); }

  /// Notes how much of the view shows, from the bar, at each painting from now on.
  void watch(const TestView& view) {
    SoftTokenWindow* window = view.window();
    watches.push_back(
        std::make_unique<test::OnEvent>(*window, QEvent::Paint, [this, window](QEvent& /*event*/) {
          const int height = window->height() + window->contentView()->y();
          if (rolled_out.empty() || rolled_out.back() != height) rolled_out.push_back(height);
        }));
  }
  /// How much shows at each step of a roll by ten.
  static std::vector<int> rolling(const std::vector<RollStep>& steps) {
    std::vector<int> heights;
    for (const RollStep& step : steps) heights.push_back(step.visible.height);
    return heights;
  }
  [[nodiscard]] static PanelPlace placeOfHeight(int height) {
    return panelPlace({}, desktopScreens().front(), height);
  }
  void open(const TestView& view, bool roll = false) {
    panel.openWindow(view.window(), -1, -1, roll);
  }
  /// And waits until it has the keyboard.
  void show(const TestView& view) {
    open(view);
    EXPECT_TRUE(QTest::qWaitForWindowActive(view.window()));
  }
  static void press(QWidget* widget, Qt::Key key) { QTest::keyClick(widget, key); }
  /// The upper edge of a window, from the screen's.
  static int top(const QWidget* window) { return window->y() - screen().y(); }
  /// Where the window is, as its lower left corner from the screen's.
  static Place placeOf(const SoftTokenWindow& window) {
    return {window.x() - screen().x(), screen().height() - top(&window) - window.height()};
  }
  static QRect screen() { return QGuiApplication::primaryScreen()->geometry(); }
  template <typename Widget = QWidget>
  Widget* part(const char* name) {
    return panel.openPanel()->findChild<Widget*>(QLatin1String(name));
  }
  [[nodiscard]] Frame frameInPanel(const QWidget* widget) {
    return frameOf(QRect(widget->mapTo(static_cast<QWidget*>(panel.openPanel()), QPoint(0, 0)),
                         widget->size()));
  }
  /// Where the panel is after it has been opened with the roll, and closed with it.
  void expectOpensAndCloses() {
    open(first, true);
    EXPECT_EQ(top(first.window()), menu_bar_height);
    panel.closeclicked();
    EXPECT_FALSE(first.window()->isVisible());
    EXPECT_FALSE(panel.isOpen());
  }

  test::FakeGateway log;
  test::PrivateHome home;
  test::MemoryUserDefaults defaults;
  Ini ini{defaults, SettingsFolders{home.home(), home.home(), home.home()}};
  MemoryKeychain keychain;
  test::FakeDeviceIdentifiers identifiers;
  vaneinterface gateway{keychain, identifiers};
  TokenStore store{gateway, keychain};
  Panel panel{ini, store};
  TestView& first = panel.add(std::make_unique<TestView>(panel, "first"));
  TestView& second = panel.add(std::make_unique<TestView>(panel, "second", 246));
  std::vector<int> rolled_out;
  std::vector<std::unique_ptr<test::OnEvent>> watches;
};

// Opening, closing, changing.

TEST_F(PanelTest, WindowsAreFoundByTheirNames) {
  EXPECT_EQ(panel.window("first"), first.window());
  EXPECT_EQ(panel.window("second"), second.window());
  EXPECT_EQ(panel.window("third"), nullptr);
}

TEST_F(PanelTest, ViewsThatAreAddedLaterAreMadeOnceAndOnlyWhenAskedFor) {
  int made = 0;
  panel.addLater([&] {
    ++made;
    panel.add(std::make_unique<TestView>(panel, "third"));
  });
  EXPECT_EQ(panel.window("first"), first.window());
  EXPECT_EQ(made, 0);
  SoftTokenWindow* third = panel.window("third");
  ASSERT_NE(third, nullptr);
  EXPECT_EQ(third->objectName(), QStringLiteral("third"));
  EXPECT_EQ(panel.window("third"), third);
  EXPECT_EQ(panel.window("fourth"), nullptr);
  EXPECT_EQ(made, 1);
}

TEST_F(PanelTest, NothingIsOpenAtFirst) {
  EXPECT_FALSE(panel.isOpen());
  EXPECT_EQ(panel.openPanel(), nullptr);
  EXPECT_EQ(first.inits, 0);
}

TEST_F(PanelTest, OpensOneViewInItsHeight) {
  open(first);
  EXPECT_TRUE(panel.isOpen());
  EXPECT_EQ(panel.openPanel(), first.window());
  EXPECT_TRUE(first.window()->isVisible());
  EXPECT_EQ(first.window()->size(), QSize(260, height_of_test_views));
  EXPECT_EQ(first.inits, 1);
  EXPECT_EQ(second.inits, 0);
}

TEST_F(PanelTest, StandInOpensInItsPlace) {
  first.stand_in = &second;
  open(first);
  EXPECT_EQ(panel.openPanel(), second.window());
  EXPECT_FALSE(first.window()->isVisible());
  EXPECT_EQ(second.window()->height(), 246);
  EXPECT_EQ(first.inits, 0);
  EXPECT_EQ(second.inits, 1);
}

TEST_F(PanelTest, WindowThatIsNoViewsIs500High) {
  SoftTokenWindow other({0, 0, 260, 10});
  panel.openWindow(&other, 30, 40, false);
  EXPECT_EQ(other.height(), 500);
  EXPECT_EQ(placeOf(other), (Place{30, 40}));
  EXPECT_EQ(panel.openPanel(), &other);
  panel.switchViewfrom(&other, first.window());  // takes the close button along
}

TEST_F(PanelTest, SwitchingClosesTheOneAndOpensTheOther) {
  open(first);
  panel.switchViewfrom(first.window(), second.window());
  EXPECT_EQ(panel.openPanel(), second.window());
  EXPECT_FALSE(first.window()->isVisible());
  EXPECT_EQ(first.closes, 1);
  EXPECT_EQ(frameOf(second.window()->geometry()), placeOfHeight(246).window);
}

TEST_F(PanelTest, WhatIsNotOpenIsNeitherClosedNorLeft) {
  open(first);
  panel.closeWindow(second.window(), true);
  panel.switchViewfrom(second.window(), second.window());
  panel.switchViewfrom(nullptr, second.window());
  EXPECT_EQ(panel.openPanel(), first.window());
  EXPECT_EQ(first.closes, 0);
  EXPECT_EQ(second.inits, 0);
}

TEST_F(PanelTest, RefreshingFillsTheViewAnewWithoutUnmappingIt) {
  show(first);
  int hidden = 0;
  test::OnEvent watching(*first.window(), QEvent::Hide, [&hidden](QEvent& /*event*/) { ++hidden; });
  panel.refreshView(first.window());
  EXPECT_EQ(hidden, 0);
  EXPECT_TRUE(first.window()->isVisible());
  EXPECT_EQ(first.closes, 1);
  EXPECT_EQ(first.inits, 2);
  EXPECT_TRUE(first.field->hasFocus());
}

TEST_F(PanelTest, ManagementViewLeadsToTheTokenViewOnlyWhileItIsOpen) {
  auto& cv = panel.add(std::make_unique<TestView>(panel, "cv"));
  auto& tv = panel.add(std::make_unique<TestView>(panel, "tv"));
  open(first);
  panel.cvtv();
  EXPECT_EQ(panel.openPanel(), first.window());
  panel.switchViewfrom(first.window(), cv.window());
  panel.cvtv();
  EXPECT_EQ(panel.openPanel(), tv.window());
}

TEST_F(PanelTest, ViewsAreReleasedAfterTheClosingAndNotBetweenTwoViews) {
  open(first);
  panel.switchViewfrom(first.window(), second.window());
  QCoreApplication::processEvents();
  EXPECT_EQ(first.releases, 0);
  panel.closeclicked();
  EXPECT_EQ(first.releases, 0) << "what was clicked is still at work";
  QCoreApplication::processEvents();
  EXPECT_EQ(first.releases, 1);
  EXPECT_EQ(second.releases, 1);
}

TEST_F(PanelTest, WindowManagerThatClosesItClosesThePanel) {
  open(first);
  EXPECT_TRUE(first.window()->close());
  EXPECT_FALSE(panel.isOpen());
  EXPECT_EQ(first.closes, 1);
  open(first);
  EXPECT_TRUE(first.window()->isVisible());
}

TEST_F(PanelTest, EveryViewCanBeShownAgainAndAgain) {
  for (int round = 0; round < 3; ++round) {
    for (const TestView* view : {&first, &second}) {
      open(*view);
      QCoreApplication::processEvents();
      EXPECT_TRUE(view->window()->isVisible());
      EXPECT_TRUE(part("close")->isVisible());
      panel.closeclicked();
    }
  }
}

// Place and roll.

TEST_F(PanelTest, OpeningPaintsEachStepOfTheRoll) {
  watch(first);
  open(first, true);
  const auto steps = openingSteps(placeOfHeight(height_of_test_views), 10);
  ASSERT_EQ(steps.size(), 11U);
  EXPECT_EQ(rolled_out, rolling(steps));
  EXPECT_EQ(frameOf(first.window()->geometry()), placeOfHeight(height_of_test_views).window);
  EXPECT_EQ(first.window()->contentView()->pos(), QPoint(0, 0));
}

TEST_F(PanelTest, ClosingPaintsEachStepOfTheRoll) {
  open(first);
  QTest::qWait(50);
  watch(first);
  panel.closeclicked();
  EXPECT_EQ(rolled_out, rolling(closingSteps(placeOfHeight(height_of_test_views), 10)));
}

TEST_F(PanelTest, EachOfTenStepsStaysForAFrame) {
  const auto usual = std::exchange(Roll::longest_step, 8ms);
  QElapsedTimer time;
  time.start();
  open(first, true);
  EXPECT_GE(time.elapsed(), 80) << "nobody could see it";
  Roll::longest_step = usual;
}

TEST_F(PanelTest, MoreStepsThanAnyoneCouldSeeAreLeftOut) {
  ini.RollupSteps = 100'000;
  watch(first);
  open(first, true);
  EXPECT_LT(rolled_out.size(), 100'000U);
  EXPECT_EQ(rolled_out.back(), height_of_test_views);
}

TEST_F(PanelTest, PlaceThatIsGivenIsTaken) {
  panel.openWindow(first.window(), 0, 100, false);
  EXPECT_EQ(placeOf(*first.window()), (Place{0, 100}));
  EXPECT_EQ(top(first.window()), screen().height() - 100 - height_of_test_views);
}

TEST_F(PanelTest, EveryNumberOfStepsEndsWhereItShould) {
  for (const std::int64_t steps : {0, -3, 1, 2000, 2147483647}) {
    ini.RollupSteps = steps;
    expectOpensAndCloses();
  }
}

TEST_F(PanelTest, TraceOfOpeningAndClosing) {
  open(first, true);
  panel.closeclicked();
  const Place start =
      defaultPlace({screen().height(), screen().width()}, height_of_test_views, true);
  EXPECT_EQ(log.lines,
            (Lines{"APP: openWindow: begin (x:-1 y:-1 roll:1)",
                   "APP: openWindow: calculated x:" + std::to_string(start.x) +
                       " y:" + std::to_string(start.y),
                   "APP: openWindow: rolling (steps:10 chunk:15)...", "APP: openWindow: end",
                   "APP: closeWindow: begin (roll:1)",
                   "APP: closeWindow: rolling (steps:10 chunk:15)...", "APP: closeWindow: end"}));
}

TEST_F(PanelTest, TraceOfAPlaceThatIsGiven) {
  panel.openWindow(first.window(), 5, 6, false);
  EXPECT_EQ(log.lines, (Lines{"APP: openWindow: begin (x:5 y:6 roll:0)", "APP: openWindow: end"}));
}

// Background, close button, toolbar.

TEST_F(PanelTest, DressOfThePanel) {
  QWidget* content = first.window()->contentView();
  open(first);
  const auto* bg = part("bg");
  EXPECT_EQ(first.window()->contentView(), bg);
  EXPECT_EQ(frameInPanel(bg), (Frame{0, 0, 260, height_of_test_views}));
  EXPECT_EQ(frameInPanel(part("bg_logo")), logoFrame());
  EXPECT_EQ(frameInPanel(part("bg_tile_view")), tileFrame(height_of_test_views));
  EXPECT_EQ(frameInPanel(part("bg_toolbar")), toolbarFrame(height_of_test_views));
  EXPECT_EQ(frameInPanel(part("close")), close_button_frame);
  EXPECT_EQ(frameInPanel(content), (Frame{0, 0, 260, height_of_test_views}));
}

TEST_F(PanelTest, PartsOfTheBackgroundLieInTheirOrder) {
  QWidget* content = first.window()->contentView();
  open(first);
  // Children that come later are drawn above.
  const QObjectList parts = part("bg")->children();
  EXPECT_LT(parts.indexOf(part("bg_logo")), parts.indexOf(part("bg_tile_view")));
  EXPECT_LT(parts.indexOf(part("bg_tile_view")), parts.indexOf(part("bg_toolbar")));
  EXPECT_LT(parts.indexOf(part("bg_toolbar")), parts.indexOf(content->parent()));
  EXPECT_LT(parts.indexOf(content->parent()), parts.indexOf(part("close")));
}

TEST_F(PanelTest, ClosedWindowHasItsOwnContentBack) {
  QWidget* content = first.window()->contentView();
  open(first);
  const QWidget* close = part("close");
  panel.closeWindow(first.window(), false);
  EXPECT_EQ(first.window()->contentView(), content);
  EXPECT_EQ(content->parentWidget(), first.window());
  EXPECT_EQ(first.window()->findChild<QWidget*>(QStringLiteral("bg")), nullptr);
  EXPECT_FALSE(first.window()->isVisible());
  EXPECT_FALSE(close->isVisible());
}

TEST_F(PanelTest, CloseButtonClosesWithTheRollAndIsReachedAboveTheContent) {
  open(first);
  EXPECT_EQ(first.window()->childAt(250, 13), part("close"));
  QTest::qWait(50);
  watch(first);
  QTest::mouseClick(part("close"), Qt::LeftButton);
  EXPECT_FALSE(panel.isOpen());
  EXPECT_GE(rolled_out.size(), 10U);
}

TEST_F(PanelTest, ToolbarButtonsStandInTheirSlots) {
  open(first);
  const ToolbarSlot slots_in_order[] = {ToolbarSlot::left, ToolbarSlot::centre, ToolbarSlot::right};
  for (std::size_t i = 0; i < 3; ++i) {
    Frame expected = toolbarButtonFrame(slots_in_order[i]);
    expected.y += toolbarFrame(height_of_test_views).y;
    EXPECT_EQ(frameInPanel(first.buttons[i]), expected);
    EXPECT_EQ(first.buttons[i]->font().pixelSize(), 12);
  }
}

TEST_F(PanelTest, ToolbarFontHasTheSizeOfTheSettingsWhereItCan) {
  const std::pair<std::int64_t, int> sizes[] = {{15, 15}, {0, 1}, {-5, 1}, {2000000000, 32}};
  for (const auto& [size, shown] : sizes) {
    ini.iButtonFontSize = size;
    open(first);
    EXPECT_EQ(first.buttons[0]->font().pixelSize(), shown) << size;
    panel.closeWindow(first.window(), false);
  }
}

// Keys and clicks.

TEST_F(PanelTest, ReturnInAFieldAccepts) {
  show(first);
  press(first.field, Qt::Key_Return);
  EXPECT_EQ(first.accepted, 1);
  press(first.field, Qt::Key_Enter);
  EXPECT_EQ(first.accepted, 2);
}

TEST_F(PanelTest, EscapeCancelsOrCloses) {
  show(first);
  press(first.field, Qt::Key_Escape);
  EXPECT_EQ(first.cancelled, 1);
  EXPECT_TRUE(panel.isOpen());
  first.can_cancel = false;
  press(first.field, Qt::Key_Escape);
  EXPECT_EQ(first.cancelled, 1);
  EXPECT_FALSE(panel.isOpen());
}

TEST_F(PanelTest, ArrowsGoFromRowToRowAndStayAtTheEnds) {
  show(first);
  press(first.window(), Qt::Key_Up);
  EXPECT_TRUE(first.rows_[1]->hasFocus()) << "from outside the rows";
  press(first.rows_[1], Qt::Key_Down);
  EXPECT_TRUE(first.rows_[1]->hasFocus());
  press(first.rows_[1], Qt::Key_Up);
  press(first.rows_[0], Qt::Key_Up);
  EXPECT_TRUE(first.rows_[0]->hasFocus());
  press(first.rows_[0], Qt::Key_Down);
  EXPECT_TRUE(first.rows_[1]->hasFocus());
}

TEST_F(PanelTest, OtherKeysAreTheViews) {
  show(first);
  press(first.window(), Qt::Key_7);
  EXPECT_EQ(first.keys, (std::vector<int>{Qt::Key_7}));
}

TEST_F(PanelTest, ClicksThatComeAfterTheViewHasChangedAreDropped) {
  open(first);
  panel.switchViewfrom(first.window(), second.window());
  first.buttons[0]->click();
  EXPECT_EQ(first.accepted, 0);
}

TEST_F(PanelTest, KeysThatComeAfterThePanelHasClosedAreDropped) {
  show(first);
  first.can_cancel = false;
  for (int i = 0; i < 3; ++i) {
    QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QApplication::sendEvent(first.window(), &escape);
  }
  EXPECT_EQ(first.closes, 1);
  panel.closeclicked();
  EXPECT_EQ(first.closes, 1);
}

TEST_F(PanelTest, WhatIsDroppedIsHandedOn) {
  QString text;
  panel.dropped = [&text](const QMimeData& content) { text = content.text(); };
  open(first);
  QMimeData content;
  content.setText(QStringLiteral("otpauth://totp/a"));
  first.window()->dropped(content);
  EXPECT_EQ(text, QStringLiteral("otpauth://totp/a"));
}

// Scrolling.

class HighPanelTest : public PanelTest {
 protected:
  static constexpr int height = 2388;

  void turnWheel(int notches) {
    QWheelEvent event(QPointF(130, 100), QPointF(130, 100), QPoint(), QPoint(0, 120 * notches),
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(high.window(), &event);
  }
  /// How far the content has moved up.
  int scrolled() { return -high.field->parentWidget()->y() - band_height; }
  int mostScrolled() { return height - 2 * band_height - part("bg_room")->height(); }

  TestView& high = panel.add(std::make_unique<TestView>(panel, "high", height));
};

TEST_F(HighPanelTest, FillsTheWorkAreaAndNoMore) {
  show(high);
  EXPECT_EQ(top(high.window()), menu_bar_height);
  EXPECT_EQ(high.window()->height(), screen().height() - menu_bar_height);
  EXPECT_EQ(frameInPanel(part("bg_logo")), logoFrame());
  EXPECT_EQ(frameInPanel(part("bg_toolbar")), toolbarFrame(high.window()->height()));
}

TEST_F(HighPanelTest, PageKeysStepThroughTheRows) {
  show(high);
  press(high.window(), Qt::Key_PageDown);
  EXPECT_TRUE(high.rows_[1]->hasFocus());
  press(high.window(), Qt::Key_PageUp);
  EXPECT_TRUE(high.rows_[0]->hasFocus());
}

TEST_F(HighPanelTest, PageKeysScrollWhereThereAreNoRows) {
  high.has_rows = false;
  show(high);
  for (int i = 0; i < 10; ++i) press(high.window(), Qt::Key_PageDown);
  EXPECT_EQ(scrolled(), mostScrolled());
  for (int i = 0; i < 10; ++i) press(high.window(), Qt::Key_PageUp);
  EXPECT_EQ(scrolled(), 0);
}

TEST_F(HighPanelTest, EndAndHomeGoToTheLastAndFirstRow) {
  show(high);
  high.rows_[1]->move(10, height - 100);
  press(high.window(), Qt::Key_End);
  EXPECT_TRUE(high.rows_[1]->hasFocus());
  EXPECT_EQ(scrolled(), mostScrolled());
  press(high.window(), Qt::Key_Home);
  EXPECT_TRUE(high.rows_[0]->hasFocus());
  EXPECT_EQ(scrolled(), 0);
}

TEST_F(HighPanelTest, WheelScrollsARowANotch) {
  show(high);
  turnWheel(-1);
  EXPECT_EQ(scrolled(), 72);
  turnWheel(1);
  EXPECT_EQ(scrolled(), 0);
  turnWheel(-100);
  EXPECT_EQ(scrolled(), mostScrolled());
}

TEST_F(HighPanelTest, BandsStayWhileTheContentScrolls) {
  show(high);
  const Frame before = frameInPanel(high.buttons[0]);
  turnWheel(-5);
  EXPECT_EQ(frameInPanel(high.buttons[0]), before);
  EXPECT_EQ(frameInPanel(part("close")), close_button_frame);
  EXPECT_EQ(high.window()->childAt(130, 10), part("bg_logo"));
}

TEST_F(HighPanelTest, AScrollBarShowsThatThereIsMore) {
  show(high);
  auto* bar = part<QScrollBar>("scrollbar");
  ASSERT_NE(bar, nullptr);
  EXPECT_TRUE(bar->isVisible());
  turnWheel(-2);
  EXPECT_EQ(bar->value(), 144);
  bar->setValue(bar->maximum());
  EXPECT_EQ(scrolled(), mostScrolled());
  panel.closeclicked();
  open(first);
  EXPECT_EQ(part<QScrollBar>("scrollbar"), nullptr);
}

TEST_F(HighPanelTest, WhatGetsTheFocusComesIntoView) {
  show(high);
  high.rows_[1]->move(10, height - 200);
  high.rows_[1]->setFocus();
  const Frame row = frameInPanel(high.rows_[1]);
  EXPECT_EQ(row.y + row.height, high.window()->height() - band_height);
}

TEST_F(HighPanelTest, OpensAtItsBeginningAgain) {
  show(high);
  turnWheel(-5);
  panel.closeclicked();
  show(high);
  EXPECT_EQ(scrolled(), 0);
}

TEST_F(PanelTest, PanelThatFitsDoesNotScroll) {
  show(first);
  press(first.window(), Qt::Key_PageDown);
  press(first.window(), Qt::Key_End);
  EXPECT_EQ(first.field->parentWidget()->y(), -band_height);
}

TEST_F(PanelTest, TellsWhenItOpensAndCloses) {
  std::vector<bool> told;
  panel.turned = [&told](bool open) { told.push_back(open); };
  open(first, true);
  panel.switchViewfrom(first.window(), second.window());
  panel.closeclicked();
  EXPECT_EQ(told, (std::vector<bool>{true, false}));
}

TEST_F(PanelTest, OpensAtTheIcon) {
  const QRect all = screen();
  panel.setItemPlace({Frame{all.x() + 100, all.bottom() - 26, 22, 22}, {}, true});
  open(first, true);
  EXPECT_EQ(first.window()->geometry().bottom(), all.bottom() - 32);
  EXPECT_EQ(first.window()->x(), all.x());
  panel.switchViewfrom(first.window(), second.window());
  EXPECT_EQ(second.window()->geometry().bottom(), all.bottom() - 32) << "the same bar";
}

// The window.

TEST(SoftTokenWindowTest, IsBorderlessAndAboveOthers) {
  const SoftTokenWindow window({0, 0, 260, 100});
  EXPECT_TRUE(window.windowFlags().testFlag(Qt::FramelessWindowHint));
  EXPECT_TRUE(window.windowFlags().testFlag(Qt::WindowStaysOnTopHint));
}

TEST(SoftTokenWindowTest, TakesTheKeyboard) {
  SoftTokenWindow window({0, 0, 260, 100});
  window.show();
  window.activateWindow();
  EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
}

TEST(SoftTokenWindowTest, CannotBeDragged) {
  SoftTokenWindow window({0, 0, 260, 100});
  window.show();
  const QPoint before = window.pos();
  QTest::mousePress(&window, Qt::LeftButton, Qt::NoModifier, QPoint(60, 10));
  EXPECT_EQ(window.initialLocation(), QPointF(60, 10));
  QTest::mouseMove(&window, QPoint(100, 60));
  QTest::mouseRelease(&window, Qt::LeftButton, Qt::NoModifier, QPoint(100, 60));
  EXPECT_EQ(window.pos(), before);
  EXPECT_EQ(window.initialLocation(), QPointF(60, 10));
}

TEST(SoftTokenWindowTest, InitialLocationCanBeSet) {
  SoftTokenWindow window({0, 0, 260, 100});
  EXPECT_EQ(window.initialLocation(), QPointF(0, 0));
  window.setInitialLocation(QPointF(3, 4));
  EXPECT_EQ(window.initialLocation(), QPointF(3, 4));
}

TEST(ClearViewArrayTest, DeletesWhatIsInIt) {
  QWidget parent;
  std::vector<QWidget*> array{new QWidget(&parent), new QWidget(&parent)};
  Panel::ClearViewArray(array);
  EXPECT_TRUE(array.empty());
  EXPECT_TRUE(parent.children().isEmpty());
}

}  // namespace
}  // namespace talvane
