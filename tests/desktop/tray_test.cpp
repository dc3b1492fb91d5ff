#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <thread>
#include <vector>

#include "tests/desktop/desktop.h"
#include "tests/desktop/notifier_host.h"

namespace talvane::test {
namespace {

class TrayTest : public DesktopTest {
 protected:
  // To stay: a tray that comes while the program starts is found, and then announces itself; the
  // toolkit makes the icon again.
  [[nodiscard]] bool iconComes() const {
    return until([&] {
      const auto before = icon();
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
      const auto after = icon();
      return before && after && before->id == after->id;
    });
  }
  [[nodiscard]] bool activate(const NotifierHost& host) const {
    awaitSingleClick();
    return host.activate();
  }
  [[nodiscard]] std::string bus() const { return "unix:path=" + path("run/bus"); }
};

TEST_F(TrayTest, TheIconComesBackWithTheTray) {
  start();
  stopTray();
  ASSERT_TRUE(until([&] { return !icon(); }));
  startTray();
  ASSERT_TRUE(iconComes());
  openPanel();
  clickIcon();
  EXPECT_TRUE(closes());
}

TEST_F(TrayTest, ATrayThatComesLaterGetsTheIcon) {
  stopTray();
  start();
  startTray();
  ASSERT_TRUE(iconComes());
  openPanel();
}

TEST_F(TrayTest, WithoutATrayASecondStartOpensThePanel) {
  stopTray();
  start();
  EXPECT_EQ(startAgain().exit_code, 0);
  EXPECT_TRUE(opens());
  EXPECT_EQ(startAgain().exit_code, 0);
  EXPECT_TRUE(closes());
}

TEST_F(TrayTest, ANotifierHostGetsTheItem) {
  stopTray();
  const NotifierHost host(bus());
  launch();
  ASSERT_TRUE(until([&] { return !host.item().empty(); })) << programOutput();
  EXPECT_NE(host.text("Id"), "");
  EXPECT_EQ(host.text("Title"), "Talvane Soft Token");
  EXPECT_EQ(host.toolTip(), "Talvane Soft Token");
  EXPECT_EQ(host.text("Status"), "Active");
  EXPECT_EQ(host.imageWidths(), (std::vector<int>{16, 18, 22, 24, 32, 36, 44, 48, 64}));
  EXPECT_TRUE(activate(host));
  EXPECT_TRUE(opens());
  EXPECT_TRUE(activate(host));
  EXPECT_TRUE(closes());
}

TEST_F(TrayTest, ANotifierHostThatComesLaterGetsTheItem) {
  stopTray();
  start();
  const NotifierHost host(bus());
  ASSERT_TRUE(until([&] { return !host.item().empty(); })) << programOutput();
  EXPECT_TRUE(activate(host));
  EXPECT_TRUE(opens());
}

TEST_F(TrayTest, ANotifierHostThatComesBackGetsTheItemAgain) {
  stopTray();
  auto host = std::make_unique<NotifierHost>(bus());
  launch();
  ASSERT_TRUE(until([&] { return !host->item().empty(); })) << programOutput();
  // A host that goes while the program waits for its answer makes the toolkit complain.
  ASSERT_TRUE(activate(*host));
  ASSERT_TRUE(opens());
  ASSERT_TRUE(activate(*host));
  ASSERT_TRUE(closes());
  host.reset();
  host = std::make_unique<NotifierHost>(bus());
  ASSERT_TRUE(until([&] { return !host->item().empty(); })) << programOutput();
  EXPECT_TRUE(activate(*host));
  EXPECT_TRUE(opens());
}

TEST_F(TrayTest, ADoubleClickOfANotifierHostLeavesThePanelOpen) {
  stopTray();
  const NotifierHost host(bus());
  launch();
  ASSERT_TRUE(until([&] { return !host.item().empty(); })) << programOutput();
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(activate(host));
    EXPECT_TRUE(host.activate());
    EXPECT_TRUE(opens());
  }
}

TEST_F(TrayTest, TheMenuOfANotifierHostSaysWhatCanBeDone) {
  setSettings("AllowManual=true\nStrMenuOpen=Show\nStrMenuExit=Quit\n");
  stopTray();
  const NotifierHost host(bus());
  launch();
  ASSERT_TRUE(until([&] { return !host.item().empty(); })) << programOutput();
  EXPECT_EQ(host.menu(), (Strings{"Show", "Add", "Help", "Quit"}));
  EXPECT_TRUE(activate(host));
  EXPECT_TRUE(opens());
  EXPECT_EQ(host.menu(), (Strings{"Close", "Add", "Help", "Quit"}));
}

class TrayMenuTest : public TrayTest {
 protected:
  static constexpr int entries = 4;

  [[nodiscard]] std::optional<Rectangle> menu() const {
    for (const ShownWindow& window : screen().windowsOf("softtoken")) {
      if (window.place.height > 64 && window.place.width != 260) return window.place;
    }
    return std::nullopt;
  }
  // `entry` counts from 1. By the mouse: keys could come before the menu has taken the keyboard.
  void choose(int entry) {
    const Rectangle place = icon()->place;
    awaitSingleClick();
    screen().rightClick(place.x + place.width / 2, place.y + place.height / 2);
    ASSERT_TRUE(until([&] { return menu().has_value(); }));
    const Rectangle shown = menu().value();
    screen().click(shown.x + shown.width / 2,
                   shown.y + shown.height * (2 * entry - 1) / (2 * entries));
    ASSERT_TRUE(until([&] { return !menu(); }));
  }
};

TEST_F(TrayMenuTest, ItsEntriesDoWhatTheySay) {
  start();
  choose(1);
  ASSERT_TRUE(opens());
  choose(3);
  EXPECT_TRUE(comesToShow(Role::push_button, "Getting started"));
  choose(1);
  ASSERT_TRUE(closes());
  choose(2);
  EXPECT_TRUE(comesToShow(Role::push_button, "Cancel"));
  choose(4);
  EXPECT_EQ(program_.end(), 0);
}

}  // namespace
}  // namespace talvane::test
