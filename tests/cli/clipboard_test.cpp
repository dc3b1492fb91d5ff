// softtoken-cli code --copy, with stand-ins for the desktop's tools.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/cli/cli_home.h"

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
  home.environment.push_back("DISPLAY=:99");
  expectFailure(home.run({"code", "Mail", "--copy"}), 1, "xclip");
}

TEST_F(Clipboard, ToolGetsThePasscodeAndNothingIsPrinted) {
  for (const auto& [variable, tool] :
       {std::pair("DISPLAY=:99", "xclip"), {"WAYLAND_DISPLAY=wayland-9", "wl-copy"}}) {
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
  home.environment.push_back("DISPLAY=:99");
  install("xsel", 0);
  const auto [ended, time] = inOneStep(30, [&] {
    return home.run({"code", "--next", "--copy", "Mail"});
  });
  expectSuccess(ended);
  EXPECT_EQ(got("xsel"), oathPasscode(seed_16, 30, time + 30));
}

TEST_F(Clipboard, FailingToolGivesWayToTheNext) {
  home.environment.push_back("DISPLAY=:99");
  install("xclip", 1);
  install("xsel", 0);
  expectSuccess(home.run({"code", "Mail", "--copy"}));
  EXPECT_EQ(got("xsel").size(), 6U);
}

TEST_F(Clipboard, FailingToolsAreAFailure) {
  home.environment.push_back("DISPLAY=:99");
  install("xclip", 1);
  install("xsel", 1);
  expectFailure(home.run({"code", "Mail", "--copy"}), 1, "clipboard");
}

TEST_F(Clipboard, WhatIsThereStaysWhenThereIsNoSuchToken) {
  home.environment.push_back("DISPLAY=:99");
  install("xclip", 0);
  expectFailure(home.run({"code", "Bank", "--copy"}), 3, "Bank");
  EXPECT_FALSE(exists(home.path("xclip.got")));
}

}  // namespace
}  // namespace talvane::test
