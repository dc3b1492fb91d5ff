#include "config/settings_check.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/ini.h"
#include "config/settings_text.h"
#include "engine/text.h"
#include "platform/shortcut.h"
#include "platform/translation.h"

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
    return translatedWith("{} is empty; its default \"{}\" is used", key.name, key.default_value);
  }
  if (key.kind == Ini::Key::Kind::flag && !settingsFlag(value)) {
    return translatedWith("{}={} is neither true nor false; its default \"{}\" is used", key.name,
                          value, key.default_value);
  }
  if (key.name == "LoginItems" && !Ini::atLogin(value)) {
    return translatedWith("{}={} is none of ask, on and off; its default \"{}\" is used", key.name,
                          value, key.default_value);
  }
  if (key.name == "Shortcut" && lowerCase(value) != no_shortcut && !shortcutIn(value)) {
    return translatedWith("{}={} is not a shortcut such as Ctrl+Alt+T; there is none", key.name,
                          value);
  }
  if (key.kind != Ini::Key::Kind::integer) return {};
  if (!isInteger(value)) {
    return translatedWith("{}={} is not a whole number; it is read as {}", key.name, value,
                          static_cast<std::int32_t>(leadingInteger(value)));
  }
  using Limits = std::numeric_limits<std::int32_t>;
  const std::int64_t number = leadingInteger(value);
  if (number < Limits::min() || number > Limits::max()) {
    return translatedWith("{}={} does not fit; it is read as {}. Give a number from {} to {}",
                          key.name, value, static_cast<std::int32_t>(number), Limits::min(),
                          Limits::max());
  }
  return {};
}

// The value that the reader finds for the flag.
bool flagIn(const std::vector<SettingsLine>& lines, std::string_view key) {
  bool flag = false;
  for (const SettingsLine& line : lines) {
    if (!line.has_equals) break;
    if (lowerCase(line.key) == lowerCase(key)) flag = settingsFlag(line.value).value_or(false);
  }
  return flag;
}

// Whether it belongs to the user or root, and nobody else may write to it.
bool isOurs(const struct stat& status) {
  return (status.st_uid == geteuid() || status.st_uid == 0) &&
         (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

}  // namespace

std::string problemWithEnrolURL(std::string_view url, bool allow_http) {
  const std::string lower = lowerCase(url);  // as it is requested
  if (lower.starts_with("https://")) return {};
  if (!lower.starts_with("http://")) {
    return translatedWith("{} does not begin with https://, so nobody can enrol there; add that",
                          url);
  }
  if (allow_http) return {};
  return translatedWith("{} is not allowed; use https, or set AllowHTTP=true", url);
}

std::string changeableByOthers(const std::string& path) {
  struct stat file {};
  struct stat folder {};
  if (stat(path.c_str(), &file) != 0) return {};
  if (!isOurs(file)) {
    return translatedWith(
        "Others can change {}; give it to its user or root, and run `chmod go-w {}`", path, path);
  }
  const std::size_t slash = path.find_last_of('/');
  const std::string place = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  // In a folder like /tmp, nobody else can move or delete the file.
  if (stat(place.c_str(), &folder) != 0 || isOurs(folder) || (folder.st_mode & S_ISVTX) != 0) {
    return {};
  }
  return translatedWith(
      "Others can put another file in place of {}; give the folder {} to its user or root, and run "
      "`chmod go-w {}`",
      path, place, place);
}

std::vector<SettingsFinding> checkSettings(std::string_view text, std::optional<bool> allow_http) {
  std::vector<SettingsFinding> findings;
  if (!isUtf8(text))
    return {{1, translated("The file is not UTF-8 text and is ignored; save it as UTF-8")}};
  const auto keys = Ini::keys();
  std::map<std::string, std::size_t> seen;
  const auto lines = settingsLines(text);
  const bool http = allow_http.value_or(flagIn(lines, "AllowHTTP"));
  for (const SettingsLine& line : lines) {
    const auto report = [&](std::string words) {
      findings.push_back({line.number, std::move(words)});
    };
    if (!line.has_equals) {
      report(translated("No \"=\": everything from here on is ignored"));
      continue;
    }
    const auto known = std::find_if(keys.begin(), keys.end(), [&](const Ini::Key& key) {
      return lowerCase(key.name) == lowerCase(trimmed(line.key));
    });
    if (hasSpaceAtEnd(line.key)) {
      report(translatedWith("The spaces around \"{}\" make it an unknown key; remove them",
                            trimmed(line.key)));
    } else if (known == keys.end()) {
      report(translatedWith("Unknown key \"{}\"", line.key));
    }
    if (hasSpaceAtEnd(line.value)) {
      report(translatedWith("The spaces around \"{}\" are part of the value", trimmed(line.value)));
    }
    if (known == keys.end() || hasSpaceAtEnd(line.key)) continue;
    if (const auto [first, is_new] = seen.emplace(lowerCase(line.key), line.number); !is_new) {
      report(translatedWith("{} is already in line {}; this line replaces it", known->name,
                            first->second));
    }
    if (std::string problem = problemWithValue(*known, line.value); !problem.empty()) {
      report(std::move(problem));
    }
    if (known->name == "EnrolURL" && !line.value.empty()) {
      if (std::string problem = problemWithEnrolURL(line.value, http); !problem.empty()) {
        report("EnrolURL: " + problem);
      }
    }
  }
  if (!text.empty() && text.back() != '\n') {
    findings.push_back(
        {1 + static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')),
         translated("The file ends without a line end, so its end may be missing; check the "
                    "last line and end it")});
  }
  return findings;
}

std::string unreadableFile(const std::string& path) {
  return translatedWith("{} is not readable UTF-8 text; fix it or remove it", path);
}

}  // namespace talvane
