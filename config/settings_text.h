#pragma once

// How a settings file is written: one KEY=VALUE a line, values taken as they stand behind the first
// "=", blanks included. Lines that are empty or begin with "#" or "[" do not count.

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace talvane {

/// One line that counts, without its line end.
struct SettingsLine {
  std::size_t number = 0;  // from 1
  std::string_view text;
  bool has_equals = false;  // otherwise there are no key and value
  std::string_view key;     // as written
  std::string_view value;
};

/// The lines of a file's text that count; they refer to `text`. A byte order mark is skipped.
std::vector<SettingsLine> settingsLines(std::string_view text);

/// "1", "true", "yes" and "0", "false", "no" in any case; nullopt for all else.
std::optional<bool> settingsFlag(std::string_view value);

}  // namespace talvane
