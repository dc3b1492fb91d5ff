#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace talvane {

/// What an administrator should look at in a settings file.
struct SettingsFinding {
  std::size_t line = 0;  // from 1
  std::string text;
};

/// Lines that end the reading, unknown and repeated keys, values that read as their default though
/// they say something else, and blanks around "=", which count as part of key or value.
std::vector<SettingsFinding> checkSettings(std::string_view text);

}  // namespace talvane
