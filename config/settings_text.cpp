#include "config/settings_text.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/text.h"

namespace talvane {

std::vector<SettingsLine> settingsLines(std::string_view text) {
  constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
  if (text.starts_with(byte_order_mark)) text.remove_prefix(byte_order_mark.size());
  std::vector<SettingsLine> lines;
  std::size_t number = 0;
  for (const std::string_view piece : split(text, '\n')) {
    ++number;
    const std::string_view line = withoutLineEnds(piece);
    if (line.empty() || line.front() == '#' || line.front() == '[') continue;
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) {
      lines.push_back({number, line, false, {}, {}});
    } else {
      lines.push_back({number, line, true, line.substr(0, equals), line.substr(equals + 1)});
    }
  }
  return lines;
}

std::optional<bool> settingsFlag(std::string_view value) {
  const std::string lower = lowerCase(value);
  if (lower == "1" || lower == "true" || lower == "yes") return true;
  if (lower == "0" || lower == "false" || lower == "no") return false;
  return std::nullopt;
}

}  // namespace talvane
