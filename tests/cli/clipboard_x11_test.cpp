// softtoken-cli code --copy on an X11 display. Needs Xvfb and xclip, and fails without them.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include "tests/cli/cli_home.h"
#include "tests/cli/process.h"
#include "tests/support/until.h"

namespace talvane::test {
namespace {

class ClipboardX11 : public testing::Test {
 protected:
  ClipboardX11() {
    const std::string file = home.path("display");
    writeFile(file, "");
    server = std::make_unique<RunningProcess>(
        Strings{"Xvfb", "-displayfd", "1", "-nolisten", "tcp", "-noreset"}, home.environment,
        Streams{.out_file = file.c_str(), .err_file = "/dev/null"});
    EXPECT_TRUE(until([&] { return readFile(file).ends_with('\n'); })) << "Xvfb does not start";
    std::istringstream(readFile(file)) >> display;
    home.environment.push_back("DISPLAY=:" + display);
    home.add("Mail");
  }

  // What another program finds on the clipboard; "none" if there is nothing.
  [[nodiscard]] std::string clipboard(const std::string& target = "UTF8_STRING") const {
    const Ended ended = runProcess({"xclip", "-selection", "clipboard", "-o", "-t", target},
                                   {"DISPLAY=:" + display, "PATH=/usr/bin:/bin"});
    return ended.exit_code == 0 ? ended.out : "none";
  }
  // Another program copies the text.
  void copy(const std::string& text) const {
    const Streams streams{.input = text, .out_file = "/dev/null", .err_file = "/dev/null"};
    EXPECT_EQ(runProcess({"xclip", "-selection", "clipboard"},
                         {"DISPLAY=:" + display, "PATH=/usr/bin:/bin"}, streams)
                  .exit_code,
              0);
  }

  CliHome home;
  std::unique_ptr<RunningProcess> server;
  std::string display;
};

TEST_F(ClipboardX11, HoldsThePasscodeMarkedAsSecretAndLeavesTheTerminalAlone) {
  const auto begin = std::chrono::steady_clock::now();
  const auto [ended, time] = inOneStep(30, [&] { return home.run({"code", "Mail", "--copy"}); });
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
  expectSuccess(ended);
  EXPECT_EQ(ended.out, "");
  const std::string passcode = oathPasscode(seed_16, 30, time);
  for (const char* target :
       {"UTF8_STRING", "STRING", "TEXT", "text/plain", "text/plain;charset=utf-8"}) {
    EXPECT_EQ(clipboard(target), passcode) << target;
  }
  EXPECT_EQ(clipboard("x-kde-passwordManagerHint"), "secret");
  EXPECT_EQ(clipboard("image/png"), "none");
  Strings targets;
  std::istringstream lines(clipboard("TARGETS"));
  for (std::string line; std::getline(lines, line);) targets.push_back(line);
  for (const char* target : {"TARGETS", "TIMESTAMP", "MULTIPLE", "UTF8_STRING",
                             "text/plain;charset=utf-8", "x-kde-passwordManagerHint"}) {
    EXPECT_EQ(std::count(targets.begin(), targets.end(), target), 1) << target;
  }
}

TEST_F(ClipboardX11, IsClearedAfterItsTime) {
  home.setSettings("ClipboardSeconds=2\n");
  expectSuccess(home.run({"code", "--next", "Mail", "--copy"}));
  EXPECT_EQ(clipboard().size(), 6U);
  EXPECT_TRUE(until([&] { return clipboard() == "none"; }));
}

TEST_F(ClipboardX11, KeepsWhatIsCopiedLater) {
  home.setSettings("ClipboardSeconds=1\n");
  expectSuccess(home.run({"code", "Mail", "--copy"}));
  copy("something else");
  std::this_thread::sleep_for(std::chrono::seconds(2));
  EXPECT_EQ(clipboard(), "something else");
}

TEST_F(ClipboardX11, StaysWhereTheSettingSaysSo) {
  home.setSettings("ClipboardSeconds=0\n");
  expectSuccess(home.run({"code", "Mail", "--copy"}));
  std::this_thread::sleep_for(std::chrono::seconds(2));
  EXPECT_EQ(clipboard().size(), 6U);
  expectSuccess(home.run({"code", "Mail", "--next", "--copy"}));
  EXPECT_EQ(clipboard().size(), 6U);
}

}  // namespace
}  // namespace talvane::test
