#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

#include "tests/desktop/desktop.h"
#include "ui/panel/panel_geometry.h"

namespace talvane::test {
namespace {

class RollTest : public DesktopTest {
 protected:
  using Heights = std::vector<int>;

  static constexpr int left = Screen::width - 270;

  // How much of the panel is to be seen, again and again, without repetitions, until `ends`.
  template <typename End>
  Heights seenUntil(End ends) {
    Heights heights;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!ends(heights) && std::chrono::steady_clock::now() < end) {
      const int height = visibleHeight();
      if (heights.empty() || heights.back() != height) heights.push_back(height);
    }
    return heights;
  }

  // The panel's left column, which nothing of its content covers, over the root window's black.
  int visibleHeight() {
    const Picture column = screen().picture({left + 2, menu_bar_height, 1, 400});
    const auto end = std::find(column.pixels.begin(), column.pixels.end(), 0U);
    return static_cast<int>(end - column.pixels.begin());
  }

  static Heights heightsOf(const std::vector<RollStep>& steps) {
    Heights heights;
    for (const RollStep& step : steps) heights.push_back(step.visible.height);
    return heights;
  }

  // Whether what was seen are steps in their order, and several of them.
  static void expectStepsOf(const Heights& steps, const Heights& seen) {
    auto at = steps.begin();
    for (const int height : seen) {
      at = std::find(at, steps.end(), height);
      EXPECT_NE(at, steps.end()) << height << " in " << ::testing::PrintToString(seen);
      if (at == steps.end()) return;
    }
    // A slow machine leaves some out.
    EXPECT_GE(seen.size(), 4U) << ::testing::PrintToString(seen);
  }

  [[nodiscard]] bool comesToLieAt(const Rectangle& place) const {
    return until([&] {
      const auto shown = panel();
      return shown && shown->place == place;
    });
  }

  [[nodiscard]] static PanelPlace placeOf(int height) {
    const ScreenArea screen{{0, 0, Screen::width, Screen::height},
                            {0, 22, Screen::width, Screen::height - 22}};
    return panelPlace({}, screen, height);
  }

  void expectClosing(int height, const std::function<void()>& close) {
    Heights steps = heightsOf(closingSteps(placeOf(height), 10));
    steps.insert(steps.begin(), height);
    close();
    expectStepsOf(steps,
                  seenUntil([](const Heights& seen) { return !seen.empty() && seen.back() == 0; }));
    EXPECT_TRUE(closes());
  }
};

TEST_F(RollTest, TheStepsAreSeen) {
  add("One");
  start();
  const int height = tokenViewHeight(1);
  Heights steps = heightsOf(openingSteps(placeOf(height), 10));
  steps.insert(steps.begin(), 0);
  clickIcon();
  expectStepsOf(steps, seenUntil([&](const Heights& seen) {
                  return !seen.empty() && seen.back() == height;
                }));
  ASSERT_TRUE(opens());
  expectClosing(height, [&] { clickIcon(); });
}

TEST_F(RollTest, TheCloseButtonRolls) {
  start();
  openPanel();
  expectClosing(tokenViewHeight(0), [&] { clickButton("Close"); });
}

TEST_F(RollTest, ADoubleClickLeavesThePanelOpen) {
  start();
  const auto shown = icon();
  ASSERT_TRUE(shown);
  for (int round = 0; round < 2; ++round) {
    const Rectangle& place = shown->place;
    for (int i = 0; i < 2; ++i) screen().click(place.x + 9, place.y + 9);
    // Closed by the first click, it takes a while to open again.
    std::this_thread::sleep_for(std::chrono::seconds(1));
    EXPECT_TRUE(opens());
  }
}

TEST_F(RollTest, ThePanelCannotBeDragged) {
  start();
  openPanel();
  const Rectangle before = panel()->place;
  screen().press(before.x + 100, before.y + 60);
  for (int i = 0; i < 20; ++i) screen().moveMouse(before.x + 100 - 5 * i, before.y + 60 + 5 * i);
  screen().release();
  // Answered after the mouse has moved.
  EXPECT_TRUE(shows(Role::push_button, "Help"));
  EXPECT_EQ(panel()->place, before);
}

TEST_F(RollTest, ViewsChangeAtOneUpperEdge) {
  add("One");
  start();
  openPanel();
  clickButton("Help");
  EXPECT_TRUE(comesToLieAt({1010, 22, 260, 246}));
  clickButton("Home");
  EXPECT_TRUE(comesToLieAt({1010, 22, 260, 156}));
}

class ManyTokensTest : public DesktopTest {
 protected:
  static constexpr int count = 32;

  ManyTokensTest() {
    for (int i = 1; i <= count; ++i) add("Token " + std::to_string(i));
    start();
    openPanel();
    const Rectangle below_the_bar{Screen::width - 270, 22, 260, Screen::height - 22};
    EXPECT_EQ(panel()->place, below_the_bar);
  }

  // Whether the button can be seen and pressed where it is, between the bands.
  [[nodiscard]] bool isInView(const std::string& name) {
    return until([&] {
      const Rectangle place = button(name).place;
      return place.y >= 22 + 34 && place.y + place.height <= Screen::height - 34;
    });
  }
  [[nodiscard]] bool isOutOfView(const std::string& name) {
    return until([&] {
      const Rectangle place = button(name).place;
      return place.y + place.height < 22 + 34 || place.y > Screen::height - 34;
    });
  }

  void moveMouseOverPanel() { screen().moveMouse(1100, 300); }
};

TEST_F(ManyTokensTest, TheWheelReachesTheEndAndTheBeginning) {
  moveMouseOverPanel();
  EXPECT_TRUE(isOutOfView("Copy: Token 32"));
  screen().wheel(40);
  EXPECT_TRUE(isInView("Copy: Token 32"));
  EXPECT_TRUE(isOutOfView("Copy: Token 1"));
  screen().wheel(-40);
  EXPECT_TRUE(isInView("Copy: Token 1"));
}

TEST_F(ManyTokensTest, TheBandsStay) {
  const Rectangle add_button = button("Add").place;
  const Rectangle close_button = button("Close").place;
  moveMouseOverPanel();
  screen().wheel(40);
  EXPECT_TRUE(isInView("Copy: Token 32"));
  EXPECT_EQ(button("Add").place, add_button);
  EXPECT_EQ(button("Close").place, close_button);
  clickButton("Help");
  EXPECT_TRUE(comesToShow(Role::push_button, "Home"));
}

TEST_F(ManyTokensTest, TheRowWithTheKeyboardIsInView) {
  ASSERT_TRUE(focusComesTo("Copy: Token 1"));
  for (int i = 0; i < count - 1; ++i) screen().key("Tab");
  ASSERT_TRUE(focusComesTo("Copy: Token 32"));
  EXPECT_TRUE(isInView("Copy: Token 32"));
  for (int i = 0; i < count - 1; ++i) screen().key("shift+Tab");
  ASSERT_TRUE(focusComesTo("Copy: Token 1"));
  EXPECT_TRUE(isInView("Copy: Token 1"));
}

TEST_F(ManyTokensTest, TheLastRowCopiesByTheMouse) {
  moveMouseOverPanel();
  screen().wheel(40);
  ASSERT_TRUE(isInView("Copy: Token 32"));
  clickButton("Copy: Token 32");
  EXPECT_TRUE(closes());
  const std::string copied = clipboard();
  const std::int64_t now = std::time(nullptr);
  EXPECT_TRUE(copied == passcodeOf(seed_16, 30, now) ||
              copied == passcodeOf(seed_16, 30, now - 30));
}

}  // namespace
}  // namespace talvane::test
