#include <gtest/gtest.h>

#include <algorithm>

#include "tests/desktop/desktop.h"
#include "ui/panel/panel_geometry.h"

namespace talvane::test {
namespace {

class RollTest : public DesktopTest {
 protected:
  using Tops = std::vector<int>;

  // The distance of the panel's upper edge from the screen's, for these places of its lower one.
  static Tops topsOf(const std::vector<Place>& places, int height) {
    Tops tops;
    for (const Place& place : places) tops.push_back(Screen::height - place.y - height);
    return tops;
  }

  // Where the window manager and the server have put the panel while `move` lasted.
  template <typename Move>
  Tops seenWhile(Move move, int height) {
    const Screen::Watch watch(screen());
    move();
    Tops tops;
    for (const Rectangle& place : watch.places(panel_width)) {
      EXPECT_EQ(place.x, Screen::width - 270);
      EXPECT_EQ(place.height, height);
      tops.push_back(place.y);
    }
    return tops;
  }

  [[nodiscard]] bool comesToLieAt(const Rectangle& place) const {
    return until([&] {
      const auto shown = panel();
      return shown && shown->place == place;
    });
  }

  // A window manager that gets no time leaves out places of a window that has closed meanwhile:
  // then once more.
  template <typename Close>
  void expectClosingThrough(const Tops& places, Close close, int height) {
    Tops seen;
    for (int attempt = 0; attempt < 4; ++attempt) {
      if (attempt > 0) openPanel();
      const auto close_wholly = [&] {
        close();
        ASSERT_TRUE(closes());
      };
      seen = seenWhile(close_wholly, height);
      if (seen == places) return;
    }
    EXPECT_EQ(seen, places);
  }

  void expectRolls(int tokens, std::int64_t steps) {
    const int height = tokenViewHeight(tokens);
    const Place start = defaultPlace({Screen::height, Screen::width}, height, true);
    std::vector<Place> opening = openingRoll(start, height, steps);
    opening.insert(opening.begin(), start);
    EXPECT_EQ(seenWhile([&] { openPanel(); }, height), topsOf(opening, height));

    const std::vector<Place> closing = closingRoll({start.x, start.y - height}, height, steps);
    const auto click = [&] { clickIcon(); };
    expectClosingThrough(topsOf(closing, height), click, height);
  }
};

TEST_F(RollTest, EveryPlaceReachesTheScreen) {
  add("One");
  start();
  expectRolls(1, 10);
}

TEST_F(RollTest, AsTheFiguresAre) {
  add("One");
  start();
  // 156 points in ten steps of 15, of which the last has the rest.
  EXPECT_EQ(seenWhile([&] { openPanel(); }, 156),
            (Tops{-134, -119, -104, -89, -74, -59, -44, -29, -14, 1, 16, 22}));
  expectClosingThrough(
      {7, -8, -23, -38, -53, -68, -83, -98, -113, -134}, [&] { clickIcon(); }, 156);
}

TEST_F(RollTest, OtherNumbersOfSteps) {
  setSettings("RollupSteps=7\n");
  start();
  expectRolls(0, 7);
}

TEST_F(RollTest, NoSteps) {
  setSettings("RollupSteps=0\n");
  start();
  expectRolls(0, 0);
}

TEST_F(RollTest, FewerStepsThanNone) {
  setSettings("RollupSteps=-3\n");
  start();
  expectRolls(0, -3);
}

TEST_F(RollTest, TheCloseButtonRolls) {
  start();
  openPanel();
  expectClosingThrough(
      {10, -2, -14, -26, -38, -50, -62, -74, -86, -106}, [&] { clickButton("Close"); }, 128);
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
  // 32 rows of 72 and the bands.
  static constexpr int height = 2388;

  ManyTokensTest() {
    for (int i = 1; i <= count; ++i) add("Token " + std::to_string(i));
    start();
    openPanel();
    EXPECT_EQ(panel()->place.height, height);
  }

  [[nodiscard]] bool topComesTo(int top) const {
    return until([&] { return panel() && panel()->place.y == top; });
  }

  // Whether the button can be seen and pressed where it is.
  [[nodiscard]] bool isOnScreen(const std::string& name) {
    return until([&] {
      const Rectangle place = button(name).place;
      return place.y >= 22 && place.y + place.height <= Screen::height;
    });
  }

  void moveMouseOverPanel() { screen().moveMouse(1100, 300); }
};

TEST_F(ManyTokensTest, TheWheelReachesTheEndAndTheBeginning) {
  moveMouseOverPanel();
  screen().wheel(40);
  EXPECT_TRUE(topComesTo(Screen::height - height));
  EXPECT_TRUE(isOnScreen("Copy: Token 32"));
  EXPECT_TRUE(isOnScreen("Add"));
  // No further.
  screen().wheel(3);
  EXPECT_TRUE(isOnScreen("Add"));
  EXPECT_TRUE(topComesTo(Screen::height - height));
  screen().wheel(-40);
  EXPECT_TRUE(topComesTo(22));
}

TEST_F(ManyTokensTest, PageDownReachesTheEndAndPageUpTheBeginning) {
  ASSERT_TRUE(focusComesTo("Copy: Token 1"));
  for (int i = 0; i < 4; ++i) screen().key("Next");
  EXPECT_TRUE(topComesTo(Screen::height - height));
  for (int i = 0; i < 4; ++i) screen().key("Prior");
  EXPECT_TRUE(topComesTo(22));
}

TEST_F(ManyTokensTest, TheRowWithTheKeyboardIsOnTheScreen) {
  ASSERT_TRUE(focusComesTo("Copy: Token 1"));
  for (int i = 0; i < count - 1; ++i) screen().key("Tab");
  ASSERT_TRUE(focusComesTo("Copy: Token 32"));
  EXPECT_TRUE(isOnScreen("Copy: Token 32"));
  for (int i = 0; i < count - 1; ++i) screen().key("shift+Tab");
  ASSERT_TRUE(focusComesTo("Copy: Token 1"));
  EXPECT_TRUE(isOnScreen("Copy: Token 1"));
}

TEST_F(ManyTokensTest, ArrowsReachTheLastRow) {
  ASSERT_TRUE(focusComesTo("Copy: Token 1"));
  for (int i = 0; i < count - 1; ++i) screen().key("Down");
  ASSERT_TRUE(focusComesTo("Copy: Token 32"));
  EXPECT_TRUE(isOnScreen("Copy: Token 32"));
  screen().key("Down");
  screen().key("Up");
  EXPECT_TRUE(focusComesTo("Copy: Token 31"));
}

TEST_F(ManyTokensTest, TheLastRowCopiesByTheMouse) {
  moveMouseOverPanel();
  screen().wheel(40);
  ASSERT_TRUE(topComesTo(Screen::height - height));
  ASSERT_TRUE(isOnScreen("Copy: Token 32"));
  clickButton("Copy: Token 32");
  EXPECT_TRUE(closes());
  const std::string copied = clipboard();
  const std::int64_t now = std::time(nullptr);
  EXPECT_TRUE(copied == passcodeOf(seed_16, 30, now) ||
              copied == passcodeOf(seed_16, 30, now - 30));
}

TEST_F(ManyTokensTest, OneMoreTokenIsRefused) {
  EXPECT_EQ(startAgain({"otpauth://totp/Work?secret=" + std::string(other_seed_16)}).exit_code, 0);
  answer("All 32 slots hold tokens; delete one first", "OK");
  EXPECT_EQ(storedNames().size(), 32U);
}

TEST_F(ManyTokensTest, AllCanBeManaged) {
  moveMouseOverPanel();
  screen().wheel(40);
  ASSERT_TRUE(isOnScreen("Edit"));
  clickButton("Edit");
  // 32 rows of 30 and the bands.
  ASSERT_TRUE(until([&] { return panel() && panel()->place.height == 1046; }));
  ASSERT_TRUE(focusComesTo("Description: Token 1"));
  screen().wheel(40);
  EXPECT_TRUE(topComesTo(Screen::height - 1046));
  EXPECT_TRUE(isOnScreen("Delete"));
}

}  // namespace
}  // namespace talvane::test
