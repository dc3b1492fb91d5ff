#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "config/ta_settings.h"
#include "tests/support/temporary_folder.h"

namespace talvane::test {

/// The three places of settings files, each an empty folder of its own.
class SettingsPlaces {
 public:
  SettingsPlaces() {
    for (const char* name : {"home", "etc", "bundle"}) {
      std::filesystem::create_directory(folder_ / name);
    }
  }

  [[nodiscard]] SettingsFolders folders() const {
    return {folder_ / "home", folder_ / "etc", folder_ / "bundle"};
  }
  [[nodiscard]] const std::string& root() const { return folder_.path(); }
  [[nodiscard]] std::string home() const { return folder_ / "home/tasofttoken.ini"; }
  [[nodiscard]] std::string system() const { return folder_ / "etc/tasofttoken.ini"; }
  [[nodiscard]] std::string bundle() const { return folder_ / "bundle/tasofttoken.ini"; }

 private:
  TemporaryFolder folder_;
};

}  // namespace talvane::test
