#include "config/settings_check.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/ini.h"
#include "config/settings_text.h"
#include "engine/text.h"

namespace talvane {
namespace {

bool isInteger(std::string_view value) {
  if (value.starts_with('-') || value.starts_with('+')) value.remove_prefix(1);
  return !value.empty() && value.find_first_not_of("0123456789") == std::string_view::npos;
}

bool hasSpaceAtEnd(std::string_view text) {
  return trimmed(text).size() != text.size();
}

// What is wrong with the value of a known key; empty if nothing is.
std::string problemWithValue(const Ini::Key& key, std::string_view value) {
  if (value.empty()) {
    return fmt::format("{} is empty; its default \"{}\" is used", key.name, key.default_value);
  }
  if (key.kind == Ini::Key::Kind::flag && !settingsFlag(value)) {
    return fmt::format("{}={} is neither true nor false; its default \"{}\" is used", key.name,
                       value, key.default_value);
  }
  if (key.kind == Ini::Key::Kind::integer && !isInteger(value)) {
    return fmt::format("{}={} is not a whole number; it is read as {}", key.name, value,
                       static_cast<std::int32_t>(leadingInteger(value)));
  }
  return {};
}

}  // namespace

std::vector<SettingsFinding> checkSettings(std::string_view text) {
  std::vector<SettingsFinding> findings;
  if (!isUtf8(text)) return {{1, "The file is not UTF-8 text and is ignored; save it as UTF-8"}};
  const auto keys = Ini::keys();
  std::map<std::string, std::size_t> seen;
  for (const SettingsLine& line : settingsLines(text)) {
    const auto report = [&](std::string words) {
      findings.push_back({line.number, std::move(words)});
    };
    if (!line.has_equals) {
      report("No \"=\": everything from here on is ignored");
      continue;
    }
    const auto known = std::find_if(keys.begin(), keys.end(), [&](const Ini::Key& key) {
      return lowerCase(key.name) == lowerCase(trimmed(line.key));
    });
    if (hasSpaceAtEnd(line.key)) {
      report(fmt::format("The spaces around \"{}\" make it an unknown key; remove them",
                         trimmed(line.key)));
    } else if (known == keys.end()) {
      report(fmt::format("Unknown key \"{}\"", line.key));
    }
    if (hasSpaceAtEnd(line.value)) {
      report(fmt::format("The spaces around \"{}\" are part of the value", trimmed(line.value)));
    }
    if (known == keys.end() || hasSpaceAtEnd(line.key)) continue;
    if (const auto [first, is_new] = seen.emplace(lowerCase(line.key), line.number); !is_new) {
      report(fmt::format("{} is already in line {}; this line replaces it", known->name,
                         first->second));
    }
    if (std::string problem = problemWithValue(*known, line.value); !problem.empty()) {
      report(std::move(problem));
    }
  }
  return findings;
}

std::string unreadableFile(const std::string& path) {
  return path + " is not readable UTF-8 text; fix it or remove it";
}

}  // namespace talvane
