// The main of the suites that show widgets: drawn into memory, in a home of its own, dressed as the
// program dresses itself.

#include <gtest/gtest.h>

#include <QApplication>

#include <chrono>

#include "tests/support/private_home.h"
#include "tests/support/suite.h"
#include "ui/kit/style.h"
#include "ui/panel/roll.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  talvane::test::PrivateHome home;
  home.environment.set("QT_QPA_PLATFORM", "offscreen");
  for (const char* name : {"QT_SCALE_FACTOR", "QT_SCREEN_SCALE_FACTORS", "QT_FONT_DPI",
                           "QT_STYLE_OVERRIDE", "QT_QPA_PLATFORMTHEME"}) {
    home.environment.unset(name);
  }
  QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  talvane::applyLook();
  talvane::Roll::longest_step = std::chrono::microseconds::zero();  // nobody watches
  return talvane::test::runTests(argc, argv);
}
