#pragma once

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace talvane::test {

/// Sets or unsets environment variables and puts them back at the end of the scope.
class Environment {
 public:
  Environment() = default;
  ~Environment() {
    while (!before_.empty()) {
      put(before_.back().first, before_.back().second);
      before_.pop_back();
    }
  }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

  void set(const std::string& name, const std::string& value) {
    keep(name);
    put(name, value);
  }
  void unset(const std::string& name) {
    keep(name);
    put(name, std::nullopt);
  }

 private:
  void keep(const std::string& name) {
    const char* value = std::getenv(name.c_str());
    before_.emplace_back(name, value == nullptr ? std::nullopt : std::optional<std::string>(value));
  }
  static void put(const std::string& name, const std::optional<std::string>& value) {
    if (value) {
      setenv(name.c_str(), value->c_str(), 1);
    } else {
      unsetenv(name.c_str());
    }
  }

  std::vector<std::pair<std::string, std::optional<std::string>>> before_;
};

/// A user without a past: home, data, settings and run-time folders of its own, and no way to the
/// real user's bus or display.
class PrivateHome {
 public:
  PrivateHome() {
    for (const char* name : {"home", "data", "config", "run"}) {
      std::filesystem::create_directory(folder_ / name);
    }
    std::filesystem::permissions(runtime(), std::filesystem::perms::owner_all);
    environment.set("HOME", home());
    environment.set("XDG_DATA_HOME", data());
    environment.set("XDG_CONFIG_HOME", config());
    environment.set("XDG_RUNTIME_DIR", runtime());
    for (const char* name : {"DBUS_SESSION_BUS_ADDRESS", "DISPLAY", "WAYLAND_DISPLAY"}) {
      environment.unset(name);
    }
  }

  [[nodiscard]] const std::string& root() const { return folder_.path(); }
  [[nodiscard]] std::string home() const { return folder_ / "home"; }
  /// The folders that hold those of all programs; this program's is "softtoken" in each.
  [[nodiscard]] std::string data() const { return folder_ / "data"; }
  [[nodiscard]] std::string config() const { return folder_ / "config"; }
  [[nodiscard]] std::string runtime() const { return folder_ / "run"; }

 private:
  TemporaryFolder folder_;

 public:
  Environment environment;  // put back before the folder goes
};

}  // namespace talvane::test
