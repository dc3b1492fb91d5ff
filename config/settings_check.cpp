#include "config/settings_check.h"

#include <fmt/core.h>

#include <algorithm>
#include <map>

#include "config/ini.h"
#include "config/settings_text.h"
#include "engine/text.h"

namespace talvane {
namespace {

bool isInteger(std::string_view value) {
  if (value.starts_with('-') || value.starts_with('+')) value.remove_prefix(1);
  return !value.empty() && value.find_first_not_of("0123456789") == std::string_view::npos;
}

bool hasBlankAtEnd(std::string_view text) {
  return withoutBlanks(text).size() != text.size();
}

// What is wrong with the value of a known key; empty: nothing.
std::string problemWithValue(const Ini::Key& key, std::string_view value) {
  if (value.empty()) {
    return fmt::format("{} is empty and reads as its default, {}", key.name, key.default_value);
  }
  if (key.kind == Ini::Key::Kind::flag && !settingsFlag(value)) {
    return fmt::format("{}={} is neither true nor false and reads as its default, {}", key.name,
                       value, key.default_value);
  }
  if (key.kind == Ini::Key::Kind::integer && !isInteger(value)) {
    return fmt::format("{}={} is not a whole number and reads as {}", key.name, value,
                       static_cast<std::int32_t>(leadingInteger(value)));
  }
  return {};
}

}  // namespace

std::vector<SettingsFinding> checkSettings(std::string_view text) {
  std::vector<SettingsFinding> findings;
  if (!isUtf8(text)) return {{1, "The file is not UTF-8 and counts as unreadable"}};
  const auto keys = Ini::keys();
  std::map<std::string, std::size_t> seen;
  for (const SettingsLine& line : settingsLines(text)) {
    const auto report = [&](std::string words) {
      findings.push_back({line.number, std::move(words)});
    };
    if (!line.has_equals) {
      report("No \"=\": the reading ends here, and what follows does not count");
      continue;
    }
    const auto known = std::find_if(keys.begin(), keys.end(), [&](const Ini::Key& key) {
      return lowerCase(key.name) == lowerCase(withoutBlanks(line.key));
    });
    if (hasBlankAtEnd(line.key)) {
      report(fmt::format("The blanks around \"{}\" are part of the key, which is unknown so",
                         withoutBlanks(line.key)));
    } else if (known == keys.end()) {
      report(fmt::format("Unknown key \"{}\"", line.key));
    }
    if (hasBlankAtEnd(line.value)) {
      report(
          fmt::format("The blanks around \"{}\" are part of the value", withoutBlanks(line.value)));
    }
    if (known == keys.end() || hasBlankAtEnd(line.key)) continue;
    if (const auto [first, is_new] = seen.emplace(lowerCase(line.key), line.number); !is_new) {
      report(fmt::format("{} stands in line {} already; this line counts", known->name,
                         first->second));
    }
    if (std::string problem = problemWithValue(*known, line.value); !problem.empty()) {
      report(std::move(problem));
    }
  }
  return findings;
}

}  // namespace talvane
