#pragma once

// The format of a settings file: one KEY=VALUE per line. The value is everything after the first
// "=", spaces included. Empty lines and lines that begin with "#" or "[" are ignored.

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace talvane {

/// One line that is not ignored, without its line end.
struct SettingsLine {
  std::size_t number = 0;  // from 1
  std::string_view text;
  bool has_equals = false;  // if not, key and value are empty
  std::string_view key;     // as written
  std::string_view value;
};

/// The lines of a file's text that are not ignored; they refer to `text`. Skips a byte order mark.
std::vector<SettingsLine> settingsLines(std::string_view text);

/// "1", "true", "yes" and "0", "false", "no" in any case; nullopt for anything else.
std::optional<bool> settingsFlag(std::string_view value);

}  // namespace talvane
