// softtoken-cli code --copy, with stand-ins for the desktop's tools.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <thread>

#include "tests/cli/cli_home.h"
#include "tests/support/until.h"

namespace talvane::test {
namespace {

class Clipboard : public testing::Test {
 protected:
  Clipboard() {
    std::filesystem::create_directory(home.path("tools"));
    // Nothing of the real desktop can be reached.
    for (std::string& entry : home.environment) {
      if (entry.starts_with("PATH=")) entry = "PATH=" + home.path("tools");
    }
    home.add("Mail");
  }

  // A tool that keeps what it is fed and ends with this exit code.
  void install(const std::string& name, int exit_code) const {
    writeFile(home.path("tools/" + name), "#!/bin/sh\n/bin/cat > '" + home.path(name + ".got") +
                                              "'\nexit " + std::to_string(exit_code) + "\n");
    chmod(home.path("tools/" + name).c_str(), 0700);
  }
  // One that stays in the background as long as the file "taken" is not there. It keeps how it was
  // called, one line each, and what it was fed. The options in `unknown` make it fail.
  void installServing(const std::string& name, const std::string& unknown = "none") const {
    const std::string place = home.path(name);
    writeFile(home.path("tools/" + name),
              "#!/bin/sh\n"
              "echo \"$*\" >> '" +
                  place +
                  ".calls'\n"
                  "case \"$*\" in *" +
                  unknown +
                  "*) exit 1 ;; *clear* | *null*) exit 0 ;; esac\n"
                  "/bin/cat > '" +
                  place +
                  ".got'\n"
                  "(while [ -d '" +
                  home.path("tools") + "' ] && [ ! -e '" + home.path("taken") +
                  "' ]; do /bin/sleep 0.05; done) "
                  "</dev/null >/dev/null 2>&1 &\n");
    chmod(home.path("tools/" + name).c_str(), 0700);
  }
  [[nodiscard]] Strings calls(const std::string& name) const {
    Strings lines;
    std::istringstream text(readFile(home.path(name + ".calls")));
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    return lines;
  }
  // How long the program in the background, which holds the passcode, was told to.
  [[nodiscard]] std::optional<std::int64_t> secondsOfHolder() const {
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
      const std::string command = readFile(entry.path() / "cmdline");
      const std::size_t end = command.find('\0');
      if (end == std::string::npos || !command.substr(0, end).ends_with("/clipboard")) continue;
      if (readFile(entry.path() / "environ").find(home.root()) == std::string::npos) continue;
      return std::stoll(command.substr(end + 1));
    }
    return std::nullopt;
  }
  [[nodiscard]] bool holderEnds() const {
    return until([&] { return !secondsOfHolder(); });
  }
  // Waits until the tool has been called so often.
  [[nodiscard]] bool isCalled(const std::string& name, std::size_t times) const {
    return until([&] { return calls(name).size() >= times; });
  }
  [[nodiscard]] std::string got(const std::string& name) const {
    return readFile(home.path(name + ".got"));
  }

  CliHome home;
};

TEST_F(Clipboard, WithoutADesktopItSaysWhatToDo) {
  install("xclip", 0);
  install("wl-copy", 0);
  expectFailure(home.run({"code", "Mail", "--copy"}), 1, "clipboard");
  EXPECT_FALSE(exists(home.path("xclip.got")));
  EXPECT_FALSE(exists(home.path("wl-copy.got")));
}

TEST_F(Clipboard, WithoutAToolItSaysWhatToInstall) {
  home.environment.push_back("DISPLAY=:64999");
  expectFailure(home.run({"code", "Mail", "--copy"}), 1, "xclip");
}

TEST_F(Clipboard, ToolGetsThePasscodeAndNothingIsPrinted) {
  for (const auto& [variable, tool] :
       {std::pair("DISPLAY=:64999", "xclip"), {"WAYLAND_DISPLAY=wayland-9", "wl-copy"}}) {
    home.environment.push_back(variable);
    install(tool, 0);
    const auto [ended, time] = inOneStep(30, [&] { return home.run({"code", "Mail", "--copy"}); });
    expectSuccess(ended);
    EXPECT_EQ(ended.out, "");
    EXPECT_EQ(got(tool), oathPasscode(seed_16, 30, time));
    home.environment.pop_back();
  }
}

TEST_F(Clipboard, NextOneCanBeCopied) {
  home.environment.push_back("DISPLAY=:64999");
  install("xsel", 0);
  const auto [ended, time] = inOneStep(30, [&] {
    return home.run({"code", "--next", "--copy", "Mail"});
  });
  expectSuccess(ended);
  EXPECT_EQ(got("xsel"), oathPasscode(seed_16, 30, time + 30));
}

TEST_F(Clipboard, FailingToolGivesWayToTheNext) {
  home.environment.push_back("DISPLAY=:64999");
  install("xclip", 1);
  install("xsel", 0);
  expectSuccess(home.run({"code", "Mail", "--copy"}));
  EXPECT_EQ(got("xsel").size(), 6U);
}

TEST_F(Clipboard, FailingToolsAreAFailure) {
  home.environment.push_back("DISPLAY=:64999");
  install("xclip", 1);
  install("xsel", 1);
  expectFailure(home.run({"code", "Mail", "--copy"}), 1, "clipboard");
}

TEST_F(Clipboard, WhatIsThereStaysWhenThereIsNoSuchToken) {
  home.environment.push_back("DISPLAY=:64999");
  install("xclip", 0);
  expectFailure(home.run({"code", "Bank", "--copy"}), 3, "Bank");
  EXPECT_FALSE(exists(home.path("xclip.got")));
}

TEST_F(Clipboard, IsMarkedAsSecretOnWaylandWhereTheToolKnowsThat) {
  home.environment.push_back("WAYLAND_DISPLAY=wayland-9");
  home.setSettings("ClipboardSeconds=0\n");
  installServing("wl-copy");
  expectSuccess(home.run({"code", "Mail", "--copy"}));
  EXPECT_EQ(calls("wl-copy"), Strings{"--sensitive --type text/plain"});
  EXPECT_EQ(got("wl-copy").size(), 6U);
  std::filesystem::remove(home.path("wl-copy.calls"));
  std::filesystem::remove(home.path("wl-copy.got"));
  installServing("wl-copy", "sensitive");
  expectSuccess(home.run({"code", "Mail", "--copy"}));
  EXPECT_EQ(calls("wl-copy"), (Strings{"--sensitive --type text/plain", "--type text/plain"}));
  EXPECT_EQ(got("wl-copy").size(), 6U);
  writeFile(home.path("taken"), "");
}

TEST_F(Clipboard, IsClearedAfterItsTime) {
  home.setSettings("ClipboardSeconds=1\n");
  const std::vector<std::array<std::string, 3>> some = {
      {"WAYLAND_DISPLAY=wayland-9", "wl-copy", "--clear"},
      {"DISPLAY=:64999", "xclip", "-selection clipboard -in /dev/null"},
      {"DISPLAY=:64999", "xsel", "--clipboard --clear"}};
  for (const auto& [variable, tool, clearing] : some) {
    SCOPED_TRACE(tool);
    home.environment.push_back(variable);
    installServing(tool);
    const auto begin = std::chrono::steady_clock::now();
    expectSuccess(home.run({"code", "Mail", "--copy"}));
    EXPECT_EQ(calls(tool).size(), 1U) << "at once";
    ASSERT_TRUE(isCalled(tool, 2));
    const auto waited = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(waited, std::chrono::milliseconds(990));
    EXPECT_LT(waited, std::chrono::seconds(6));
    EXPECT_EQ(calls(tool).back(), clearing);
    std::filesystem::remove(home.path("tools/" + tool));
    home.environment.pop_back();
  }
  writeFile(home.path("taken"), "");
}

// Read off the program that waits, so that nobody has to.
TEST_F(Clipboard, IsToBeClearedWhenThePasscodeExpires) {
  home.environment.push_back("WAYLAND_DISPLAY=wayland-9");
  home.setSettings("ClipboardSeconds=600\n");
  installServing("wl-copy");
  const auto seconds = [] { return std::max<std::int64_t>(10, 30 - now() % 30); };
  const std::int64_t before = seconds();
  expectSuccess(home.run({"code", "Mail", "--copy"}));
  const std::set<std::int64_t> possible{before, seconds()};
  const auto waiting = secondsOfHolder();
  ASSERT_TRUE(waiting.has_value());
  EXPECT_TRUE(possible.contains(*waiting)) << *waiting << " of " << before;
  writeFile(home.path("taken"), "");
}

TEST_F(Clipboard, StaysWhenAnotherProgramHasTakenItOrTheSettingSaysSo) {
  home.environment.push_back("WAYLAND_DISPLAY=wayland-9");
  installServing("wl-copy");
  home.setSettings("ClipboardSeconds=1\n");
  writeFile(home.path("taken"), "");
  expectSuccess(home.run({"code", "Mail", "--copy"}));
  ASSERT_TRUE(holderEnds());
  std::filesystem::remove(home.path("taken"));
  for (const char* settings : {"ClipboardSeconds=0\n", "ClipboardSeconds=-5\n"}) {
    home.setSettings(settings);
    expectSuccess(home.run({"code", "Mail", "--copy"}));
  }
  std::this_thread::sleep_for(std::chrono::seconds(2));
  EXPECT_EQ(calls("wl-copy").size(), 3U);
  writeFile(home.path("taken"), "");
}

}  // namespace
}  // namespace talvane::test
