#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace talvane {

/// A problem in a settings file, for the administrator.
struct SettingsFinding {
  std::size_t line = 0;  // from 1
  std::string text;
};

/// Finds lines without "=", after which nothing is read; unknown and repeated keys; values that
/// their default replaces; and spaces around "=", which count as part of the key or value.
std::vector<SettingsFinding> checkSettings(std::string_view text);

/// What to say of a settings file that is there and could not be read.
std::string unreadableFile(const std::string& path);

}  // namespace talvane
