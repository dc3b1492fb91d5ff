#include "ui/desktop/display.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/support/private_home.h"

namespace talvane {
namespace {

class PrepareDisplay : public testing::Test {
 protected:
  PrepareDisplay() {
    // Noted, so that all three are put back as they were.
    for (const char* name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"}) {
      environment.unset(name);
    }
  }
  static std::string platform() {
    const char* value = std::getenv("QT_QPA_PLATFORM");
    return value == nullptr ? "unset" : value;
  }
  test::Environment environment;
};

TEST_F(PrepareDisplay, ThePlatformThatTheUserChoseStays) {
  environment.set("QT_QPA_PLATFORM", "offscreen");
  EXPECT_EQ(prepareDisplay(), "");
  EXPECT_EQ(platform(), "offscreen");
}

TEST_F(PrepareDisplay, NoDisplayIsToldWithAWayOut) {
  EXPECT_EQ(prepareDisplay(), "No display found; without a desktop, use softtoken-cli");
  EXPECT_EQ(platform(), "unset");
}

TEST_F(PrepareDisplay, EmptyVariablesCountAsUnset) {
  environment.set("DISPLAY", "");
  environment.set("WAYLAND_DISPLAY", "");
  environment.set("QT_QPA_PLATFORM", "");
  EXPECT_EQ(prepareDisplay(), "No display found; without a desktop, use softtoken-cli");
}

TEST_F(PrepareDisplay, WaylandAloneIsLeftToTheToolkit) {
  environment.set("WAYLAND_DISPLAY", "wayland-0");
  EXPECT_EQ(prepareDisplay(), "");
  EXPECT_EQ(platform(), "unset");
}

TEST_F(PrepareDisplay, DisplayThatDoesNotAnswerIsNamed) {
  environment.set("DISPLAY", ":60123");
  EXPECT_EQ(prepareDisplay(),
            "Cannot open the display :60123; without a desktop, use softtoken-cli");
}

TEST_F(PrepareDisplay, DisplayOfAWaylandSessionIsPreferred) {
  environment.set("DISPLAY", ":60123");
  environment.set("WAYLAND_DISPLAY", "wayland-0");
  EXPECT_NE(prepareDisplay(), "");
  EXPECT_EQ(platform(), "xcb");
}

}  // namespace
}  // namespace talvane
