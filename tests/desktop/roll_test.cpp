#include <gtest/gtest.h>

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

  // The ten steps of a closing from where the panel rests.
  static Tops closingOf(int height) {
    const Place start = defaultPlace({Screen::height, Screen::width}, height, true);
    return topsOf(closingRoll({start.x, start.y - height}, height, 10), height);
  }
};

TEST_F(RollTest, EveryPlaceReachesTheScreen) {
  add("One");
  start();
  const int height = tokenViewHeight(1);
  const Place start = defaultPlace({Screen::height, Screen::width}, height, true);
  std::vector<Place> opening = openingRoll(start, height, 10);
  opening.insert(opening.begin(), start);
  EXPECT_EQ(seenWhile([&] { openPanel(); }, height), topsOf(opening, height));
  expectClosingThrough(
      closingOf(height), [&] { clickIcon(); }, height);
}

TEST_F(RollTest, TheCloseButtonRolls) {
  start();
  openPanel();
  const int height = tokenViewHeight(0);
  expectClosingThrough(
      closingOf(height), [&] { clickButton("Close"); }, height);
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

TEST_F(ManyTokensTest, TheRowWithTheKeyboardIsOnTheScreen) {
  ASSERT_TRUE(focusComesTo("Copy: Token 1"));
  for (int i = 0; i < count - 1; ++i) screen().key("Tab");
  ASSERT_TRUE(focusComesTo("Copy: Token 32"));
  EXPECT_TRUE(isOnScreen("Copy: Token 32"));
  for (int i = 0; i < count - 1; ++i) screen().key("shift+Tab");
  ASSERT_TRUE(focusComesTo("Copy: Token 1"));
  EXPECT_TRUE(isOnScreen("Copy: Token 1"));
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

}  // namespace
}  // namespace talvane::test
