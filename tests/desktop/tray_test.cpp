#include <gtest/gtest.h>

#include <chrono>
#include <thread>

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
  EXPECT_GT(host.pictures(), 0U);
  EXPECT_TRUE(host.activate());
  EXPECT_TRUE(opens());
  EXPECT_TRUE(host.activate());
  EXPECT_TRUE(closes());
}

TEST_F(TrayTest, ANotifierHostThatComesLaterGetsTheItem) {
  stopTray();
  start();
  const NotifierHost host(bus());
  ASSERT_TRUE(until([&] { return !host.item().empty(); })) << programOutput();
  EXPECT_TRUE(host.activate());
  EXPECT_TRUE(opens());
}

TEST_F(TrayTest, ANotifierHostThatComesBackGetsTheItemAgain) {
  stopTray();
  auto host = std::make_unique<NotifierHost>(bus());
  launch();
  ASSERT_TRUE(until([&] { return !host->item().empty(); })) << programOutput();
  // A host that goes while the program waits for its answer makes the toolkit complain.
  ASSERT_TRUE(host->activate());
  ASSERT_TRUE(opens());
  ASSERT_TRUE(host->activate());
  ASSERT_TRUE(closes());
  host.reset();
  host = std::make_unique<NotifierHost>(bus());
  ASSERT_TRUE(until([&] { return !host->item().empty(); })) << programOutput();
  EXPECT_TRUE(host->activate());
  EXPECT_TRUE(opens());
}

}  // namespace
}  // namespace talvane::test
