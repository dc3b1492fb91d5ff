// softtoken-cli watch.

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "tests/cli/cli_home.h"
#include "tests/support/core_limit.h"
#include "tests/support/sanitized.h"

namespace talvane::test {
namespace {

constexpr const char* enter_screen = "\x1b[?1049h";
constexpr const char* leave_screen = "\x1b[?1049l";
constexpr const char* hide_cursor = "\x1b[?25l";
constexpr const char* show_cursor = "\x1b[?25h";

bool has(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
}

// A passcode as the live table shows it: two groups of three.
std::string spaced(const std::string& passcode) {
  return passcode.substr(0, 3) + ' ' + passcode.substr(3);
}

// Waits until the seed's present passcode is shown.
void expectLive(TerminalProcess& terminal) {
  ASSERT_TRUE(terminal.await(enter_screen)) << terminal.shown();
  const std::int64_t now = std::time(nullptr);
  const std::string shown = spaced(oathPasscode(seed_16, 30, now));
  const std::string later = spaced(oathPasscode(seed_16, 30, now + 30));
  ASSERT_TRUE(terminal.await(shown, std::chrono::seconds(5)) ||
              terminal.await(later, std::chrono::seconds(40)))
      << terminal.shown();
}

void expectRestored(const TerminalProcess& terminal, const Ended& ended) {
  EXPECT_FALSE(ended.timed_out);
  const std::size_t entered = ended.out.rfind(enter_screen);
  const std::size_t left = ended.out.rfind(leave_screen);
  ASSERT_NE(left, std::string::npos);
  EXPECT_GT(left, entered);
  EXPECT_GT(ended.out.rfind(show_cursor), ended.out.rfind(hide_cursor));
  EXPECT_TRUE(terminal.isOrdinary());
}

TEST(Watch, OffATerminalPrintsOnePlainTable) {
  const CliHome home;
  home.add("Half", seed_16, 30);
  home.add("Whole", other_seed_16, 60);
  const auto [ended, time] = inOneStep(30, [&] { return home.run({"watch"}); });
  expectSuccess(ended);
  EXPECT_EQ(std::count(ended.out.begin(), ended.out.end(), '\n'), 3) << ended.out;
  EXPECT_FALSE(has(ended.out, "\x1b"));
  EXPECT_TRUE(has(ended.out, "Half"));
  EXPECT_TRUE(has(ended.out, oathPasscode(seed_16, 30, time))) << ended.out;
  EXPECT_TRUE(has(ended.out, oathPasscode(other_seed_16, 60, time))) << ended.out;
}

TEST(Watch, WithoutTokensSaysHowToAddOne) {
  const CliHome home;
  const Ended ended = home.run({"watch"});
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_EQ(ended.out, "");
  EXPECT_TRUE(has(ended.err, "softtoken-cli add"));
}

TEST(Watch, WithoutTokensOnATerminalEndsAsWell) {
  const CliHome home;
  const Ended ended = home.runOnTerminal({"watch"})->finish();
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_FALSE(has(ended.out, enter_screen));
}

TEST(Watch, LeavesNoCoreDumpUnlessDebugIsOn) {
  if (!WithCoreDumps::arePossible()) GTEST_SKIP() << "core dumps are forbidden here";
  if (sanitized) GTEST_SKIP() << "the sanitizer forbids core dumps";
  const CliHome home;
  home.add("Mail");
  const WithCoreDumps some;
  for (const auto& [settings, limit] :
       {std::pair("Debug=no\n", rlim_t{0}), std::pair("Debug=yes\n", WithCoreDumps::limit)}) {
    home.setSettings(settings);
    const auto terminal = home.runOnTerminal({"watch"});
    ASSERT_TRUE(terminal->await(enter_screen)) << terminal->shown();
    EXPECT_EQ(coreLimitOf(terminal->id()), limit) << settings;
    terminal->type("q");
    EXPECT_EQ(terminal->finish().exit_code, 0);
  }
}

TEST(Watch, ShowsPasscodesAndQuitsOnQ) {
  for (const char* key : {"q", "Q"}) {
    const CliHome home;
    home.add("Mail");
    const auto terminal = home.runOnTerminal({"watch"});
    expectLive(*terminal);
    EXPECT_FALSE(terminal->echoes());
    terminal->type(key);
    const Ended ended = terminal->finish();
    EXPECT_EQ(ended.exit_code, 0);
    EXPECT_TRUE(has(ended.out, "Mail"));
    // What is left of the time, and what is gone.
    EXPECT_TRUE(has(ended.out, "\u2588") || has(ended.out, "\u00B7")) << "no bar";
    expectRestored(*terminal, ended);
  }
}

TEST(Watch, OtherKeysDoNotQuit) {
  const CliHome home;
  home.add("Mail");
  const auto terminal = home.runOnTerminal({"watch"});
  expectLive(*terminal);
  terminal->type("x\x1b[A\n ");
  EXPECT_TRUE(terminal->await("Mail", std::chrono::seconds(5)));
  EXPECT_TRUE(terminal->await("Mail", std::chrono::seconds(5)));
  terminal->type("q");
  EXPECT_EQ(terminal->finish().exit_code, 0);
}

TEST(Watch, SignalsRestoreTheScreen) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
    SCOPED_TRACE(signal);
    const CliHome home;
    home.add("Mail");
    const auto terminal = home.runOnTerminal({"watch"});
    expectLive(*terminal);
    terminal->sendSignal(signal);
    const Ended ended = terminal->finish();
    expectRestored(*terminal, ended);
  }
}

TEST(Watch, InterruptKeyRestoresTheScreen) {
  const CliHome home;
  home.add("Mail");
  const auto terminal = home.runOnTerminal({"watch"});
  expectLive(*terminal);
  terminal->type("\x03");
  expectRestored(*terminal, terminal->finish());
}

TEST(Watch, StopKeyGivesTheTerminalBackAndComesBack) {
  const CliHome home;
  home.add("Mail");
  const auto terminal = home.runOnTerminal({"watch"});
  expectLive(*terminal);
  terminal->type("\x1a");
  EXPECT_TRUE(terminal->await(leave_screen, std::chrono::seconds(3)))
      << "a stopped program leaves its screen and unseen typing behind";
  EXPECT_TRUE(terminal->awaitStopped());
  EXPECT_TRUE(terminal->isOrdinary());
  terminal->sendSignal(SIGCONT);
  EXPECT_TRUE(terminal->await("Mail", std::chrono::seconds(5)));
  terminal->type("q");
  const Ended ended = terminal->finish();
  EXPECT_EQ(ended.exit_code, 0);
  expectRestored(*terminal, ended);
}

TEST(Watch, NamesDoNotSteerTheTerminal) {
  const CliHome home;
  home.add("Mail");
  home.plant("\x1b]0;owned\x07\x1b[31mred\nsecond\u009Bthird", 1);
  const auto terminal = home.runOnTerminal({"watch"});
  expectLive(*terminal);
  EXPECT_TRUE(terminal->await("Press q to quit"));
  terminal->type("q");
  const Ended ended = terminal->finish();
  EXPECT_TRUE(has(ended.out, "owned"));
  EXPECT_FALSE(has(ended.out, "\x1b]0;"));
  EXPECT_FALSE(has(ended.out, "\x1b[31mred"));
  EXPECT_FALSE(has(ended.out, "\x07"));
  EXPECT_FALSE(has(ended.out, "\u009B"));
}

TEST(Watch, DumbTerminalGetsThePlainTable) {
  CliHome home;
  home.add("Mail");
  home.environment.insert(home.environment.begin(), "TERM=dumb");
  const auto [ended, time] = inOneStep(30, [&] { return home.runOnTerminal({"watch"})->finish(); });
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_FALSE(has(ended.out, "\x1b")) << ended.out;
  EXPECT_TRUE(has(ended.out, oathPasscode(seed_16, 30, time))) << ended.out;
  EXPECT_EQ(std::count(ended.out.begin(), ended.out.end(), '\n'), 2) << ended.out;
}

// The lines of what was drawn last, without what steers the terminal.
Strings linesDrawn(const std::string& shown) {
  Strings lines(1);
  const std::size_t begin = shown.rfind("\x1b[H");
  for (std::size_t i = begin == std::string::npos ? 0 : begin; i < shown.size(); ++i) {
    if (shown[i] == '\x1b') {
      i = shown.find_first_of("ABCDEFGHJKSTfhlm", i + 2);
    } else if (shown[i] == '\n') {
      lines.emplace_back();
    } else if (shown[i] != '\r') {
      lines.back() += shown[i];
    }
  }
  return lines;
}

// Columns of a line of which every character takes one.
std::size_t columnsOf(const std::string& line) {
  return static_cast<std::size_t>(std::count_if(line.begin(), line.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
}

TEST(Watch, NamesAreCutToTheWidthOfTheTerminal) {
  CliHome home;
  home.add(std::string(100, 'w'));
  for (const int columns : {30, 40, 50, 80, 200}) {
    SCOPED_TRACE(columns);
    const auto terminal = home.runOnTerminal({"watch"}, 24, static_cast<unsigned short>(columns));
    ASSERT_TRUE(terminal->await("Press q")) << terminal->shown();
    terminal->type("q");
    const Ended ended = terminal->finish();
    const std::string drawn = ended.out.substr(0, ended.out.rfind(leave_screen));
    for (const std::string& line : linesDrawn(drawn))
      EXPECT_LE(columnsOf(line), static_cast<std::size_t>(columns)) << line;
    EXPECT_TRUE(has(drawn, "w…"));
  }
  home.environment.insert(home.environment.begin(), "TERM=dumb");
  const Ended ended = home.runOnTerminal({"watch"}, 24, 30)->finish();
  for (const std::string& line : linesDrawn(ended.out)) EXPECT_LE(columnsOf(line), 30U) << line;
}

TEST(Watch, NextPasscodeShowsInTheLastFiveSeconds) {
  const CliHome home;
  home.add("Mail");
  home.add("Minute", other_seed_16, 60);
  while (std::time(nullptr) % 60 > 20) {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
  const std::int64_t start = std::time(nullptr);
  const auto terminal = home.runOnTerminal({"watch"});
  ASSERT_TRUE(terminal->await("next", std::chrono::seconds(30))) << terminal->shown();
  EXPECT_GE(std::time(nullptr) % 30, 24) << "this clock may be a little behind";
  ASSERT_TRUE(terminal->await("\x1b[J", std::chrono::seconds(5)));
  terminal->type("q");
  const Ended ended = terminal->finish();
  EXPECT_TRUE(has(ended.out, "next " + spaced(oathPasscode(seed_16, 30, start + 30)))) << ended.out;
  EXPECT_FALSE(has(ended.out, "next " + spaced(oathPasscode(other_seed_16, 60, start + 60))))
      << "that one has half a minute left";
}

TEST(Watch, WithoutColoursWhenAsked) {
  for (const char* variable : {"NO_COLOR=1"}) {
    CliHome home;
    home.add("Mail");
    home.environment.insert(home.environment.begin(), variable);
    const auto terminal = home.runOnTerminal({"watch"});
    expectLive(*terminal);
    terminal->type("q");
    const Ended ended = terminal->finish();
    for (std::size_t at = ended.out.find("\x1b["); at != std::string::npos;
         at = ended.out.find("\x1b[", at + 1)) {
      EXPECT_NE(ended.out[ended.out.find_first_not_of("0123456789;?", at + 2)], 'm')
          << variable << ": a colour";
    }
  }
}

TEST(Watch, SmallWindows) {
  for (const auto& [rows, columns] :
       {std::pair<unsigned short, unsigned short>(1, 1), {1, 200}, {3, 20}, {5, 30}, {0, 0}}) {
    SCOPED_TRACE(testing::Message() << rows << " x " << columns);
    const CliHome home;
    for (int i = 0; i < 8; ++i) home.add("Token " + std::to_string(i));
    const auto terminal = home.runOnTerminal({"watch"}, rows, columns);
    ASSERT_TRUE(terminal->await(enter_screen));
    ASSERT_TRUE(terminal->await("\x1b[J")) << "nothing was drawn";
    terminal->type("q");
    const Ended ended = terminal->finish();
    EXPECT_EQ(ended.exit_code, 0);
    expectRestored(*terminal, ended);
  }
}

TEST(Watch, FollowsTheWindowsSize) {
  const CliHome home;
  home.add(std::string(40, 'w'));
  home.add("Mail");
  const auto terminal = home.runOnTerminal({"watch"}, 24, 120);
  ASSERT_TRUE(terminal->await(std::string(40, 'w'))) << terminal->shown();
  terminal->resize(24, 50);
  EXPECT_TRUE(terminal->await("w…", std::chrono::seconds(5))) << "not drawn anew";
  terminal->type("q");
  EXPECT_EQ(terminal->finish().exit_code, 0);
}

TEST(Watch, SeesWhatAnotherProgramChanged) {
  const CliHome home;
  home.add("Mail");
  const auto terminal = home.runOnTerminal({"watch"});
  expectLive(*terminal);
  home.add("Newcomer");
  EXPECT_TRUE(terminal->await("Newcomer", std::chrono::seconds(35)));
  expectSuccess(home.run({"delete", "--yes", "Mail", "Newcomer"}));
  terminal->type("q");
  EXPECT_EQ(terminal->finish().exit_code, 0);
}

TEST(Watch, TellsOfADamagedRecord) {
  const CliHome home;
  home.add("A");
  home.add("B");
  home.damage(1);
  const Ended ended = home.run({"watch"});
  EXPECT_TRUE(has(ended.out, "A"));
  EXPECT_TRUE(has(ended.err, "softtoken-cli delete 1"));
}

}  // namespace
}  // namespace talvane::test
