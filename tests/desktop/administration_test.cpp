// The running program and what its administrator does on the command line.

#include <gtest/gtest.h>

#include "tests/desktop/desktop.h"

namespace talvane::test {
namespace {

class AdministrationTest : public DesktopTest {};

bool has(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
}

TEST_F(AdministrationTest, OlderSettingsOfTheRunningProgramAreTold) {
  setSettings("AllowManual=true\nRollupSteps=5\n");
  const std::string file = path("home/tasofttoken.ini");
  start();
  EXPECT_FALSE(has(commandLine({"doctor"}).out, "running program"));
  EXPECT_EQ(commandLine({"settings", "--check", file}).out, "No problems found.\n");

  setSettings("AllowManual=true\nRollupSteps=6\nStrMenuAdd=More\n");
  const Ended doctor = commandLine({"doctor"});
  EXPECT_TRUE(has(doctor.out, "!! running program     The running program (process "))
      << doctor.out;
  EXPECT_TRUE(has(doctor.out, "has an older value of RollupSteps, StrMenuAdd; restart it"))
      << doctor.out;
  const Ended check = commandLine({"settings", "--check", file});
  EXPECT_EQ(check.exit_code, 0) << check.err;
  EXPECT_TRUE(has(check.out, "older value of RollupSteps, StrMenuAdd; restart it")) << check.out;
  writeFile(path("other.ini"), "Debug=false\n");
  EXPECT_EQ(commandLine({"settings", "--check", path("other.ini")}).out, "No problems found.\n");

  std::filesystem::remove(file);
  EXPECT_TRUE(has(commandLine({"doctor"}).out, "older value of AllowManual, RollupSteps; restart"));
  quit();
  EXPECT_FALSE(has(commandLine({"doctor"}).out, "running program"));
}

TEST_F(AdministrationTest, ReportTellsOfTheRunningProgram) {
  more_environment_.push_back("XDG_CURRENT_DESKTOP=openbox");
  start();
  const Ended report = commandLine({"report"});
  EXPECT_EQ(report.exit_code, 0) << report.err;
  for (const char* part : {"desktop program         running", "platform              xcb",
                           "desktop               openbox", "tray                  shown",
                           "version               0.", "DISPLAY                 :"}) {
    EXPECT_TRUE(has(report.out, part)) << part << '\n' << report.out;
  }
}

TEST_F(AdministrationTest, MovedTokensShowAtTheNextOpening) {
  add("Mail");
  add("Bank", other_seed_16);
  start();
  openPanel();
  ASSERT_TRUE(showsPasscode(0, seed_16, 30));
  clickIcon();
  ASSERT_TRUE(closes());
  session_.startDaemon("open sesame");
  const Ended moved = commandLine({"keychain", "secret-service"});
  ASSERT_EQ(moved.exit_code, 0) << moved.err;
  openPanel();
  EXPECT_TRUE(showsPasscode(0, seed_16, 30));
  EXPECT_TRUE(showsPasscode(1, other_seed_16, 30));
  EXPECT_EQ(codes().size(), 2U);
}

TEST_F(AdministrationTest, AdministratorDecidesOnLoginItems) {
  setSettings("AllowManual=true\nLoginItems=on\n");
  forgetAnswers();
  start();
  EXPECT_TRUE(until([&] { return autostartEntries().size() == 1; }));
  openPanel();
  clickButton("Help");
  EXPECT_FALSE(thing(Role::push_button, "Remove from \"Login Items\"").isEnabled());
  quit();
  setSettings("AllowManual=true\nLoginItems=off\n");
  start();
  EXPECT_TRUE(until([&] { return autostartEntries().empty(); }));
}

}  // namespace
}  // namespace talvane::test
