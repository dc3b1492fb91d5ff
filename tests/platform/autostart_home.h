#pragma once

// A user's and a system's autostart folder, and programs to start, all below a temporary folder.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/login_item.h"
#include "tests/support/private_home.h"

namespace talvane::test {

class AutostartHome : public testing::Test {
 protected:
  AutostartHome()
      : own(home.config() + "/autostart"),
        shared(home.root() + "/system/autostart"),
        program(makeProgram("programs/softtoken")),
        other(makeProgram("programs/other")) {
    home.environment.set("XDG_CONFIG_DIRS", home.root() + "/system");
    home.environment.set("PATH", home.root() + "/programs");
    home.environment.set("XDG_CURRENT_DESKTOP", "GNOME");
    std::filesystem::create_directories(shared);
  }

  /// An executable file below the temporary folder; its path.
  std::string makeProgram(const std::string& name) const {
    const std::string path = std::filesystem::canonical(home.root()).string() + '/' + name;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    writeFile(path, "#!/bin/false\n");
    EXPECT_EQ(chmod(path.c_str(), 0755), 0);
    return path;
  }

  static std::string entry(const std::string& exec, const std::string& more = "") {
    return "[Desktop Entry]\nType=Application\nName=An Entry\nExec=" + exec + "\n" + more;
  }
  void writeOwn(const std::string& file, const std::string& text) const {
    std::filesystem::create_directories(own);
    writeFile(own + '/' + file, text);
  }
  void writeShared(const std::string& file, const std::string& text) const {
    writeFile(shared + '/' + file, text);
  }

  /// The object of a program that was started from `path`.
  static talibobjc_LoginItem loginItemOf(const std::string& path) {
    return talibobjc_LoginItem(systemLoginItems(), path);
  }
  bool isOn() const { return loginItemOf(program).launchAtLogin(); }
  void set(bool launch) const { loginItemOf(program).setLaunchAtLogin(launch); }

  /// What the items start, first to last; "-" is one that does not resolve.
  static std::vector<std::string> targets() {
    std::vector<std::string> result;
    const auto list = systemLoginItems();
    for (const LoginItemHandle& item : list->snapshot()) {
      result.push_back(list->resolve(*item).value_or("-"));
    }
    return result;
  }

  PrivateHome home;
  const std::string own;
  const std::string shared;
  const std::string program;
  const std::string other;
};

}  // namespace talvane::test
