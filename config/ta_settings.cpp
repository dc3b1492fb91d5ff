#include "config/ta_settings.h"

#include <sys/stat.h>
#include <sys/types.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <string_view>

#include "config/settings_text.h"
#include "engine/text.h"
#include "platform/folders.h"
#include "platform/regular_file.h"
#include "platform/trace.h"
#include "platform/translation.h"

namespace talvane {
namespace {

constexpr std::uint16_t all_locations = 255;

std::uint8_t unreadableFor(int error) {
  talibobjc_Trace::traceWithFormat("TaSettings:readfile: error:[{}] {}", error,
                                   std::strerror(error));
  return TaSettings::unreadable;
}

bool onlyOwnerChanges(const struct stat& status, uid_t owner) {
  return status.st_uid == owner && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

}  // namespace

SettingsFolders SettingsFolders::ofThisSystem() {
  return {"~", "/etc", bundleFolder(), "/etc/softtoken/policy.ini", 0, std::string(userLanguage())};
}

std::uint8_t TaSettings::readfile(const std::string& path) {
  talibobjc_Trace::traceWithFormat("TaSettings:readfile: begin: {}", path);
  std::string text;
  if (const int error = readRegularFile(path, &text); error != 0) return unreadableFor(error);
  return readtext(text, path);
}

std::uint8_t TaSettings::readtext(std::string_view text, const std::string& file) {
  if (!isUtf8(text)) return unreadableFor(EILSEQ);
  return parse(text, file) ? read_whole : stopped_early;
}

bool TaSettings::parse(std::string_view text, const std::string& file) {
  for (const SettingsLine& line : settingsLines(text)) {
    talibobjc_Trace::traceWithFormat("TaSettings:readfile: trimmed line: '{}'", line.text);
    if (!line.has_equals) {
      talibobjc_Trace::traceWithFormat("TaSettings:readfile: error: '=' not found");
      return false;
    }
    talibobjc_Trace::traceWithFormat("TaSettings:readfile:   key:'{}' value:'{}'", line.key,
                                     line.value);
    dict[lowerCase(line.key)] = {std::string(line.value), file};
  }
  return true;
}

std::string TaSettings::pathAt(std::uint16_t location, const std::string& fileName) const {
  switch (location) {
    case home_location:
      return withTildeExpanded(folders_.home + '/' + fileName);
    case system_location:
      return folders_.system + '/' + fileName;
    default:
      return folders_.bundle + '/' + fileName;
  }
}

std::uint16_t TaSettings::read(const std::string& fileName, std::uint16_t locations) {
  if (locations == 0) locations = all_locations;
  for (const std::uint16_t location : {home_location, system_location, bundle_location}) {
    if ((locations & location) == 0) continue;
    if (readfile(pathAt(location, fileName)) != unreadable) return location;
  }
  return 0;
}

TaSettings::Policy TaSettings::readpolicy() {
  const std::string& path = folders_.policy;
  if (path.empty()) return {};
  std::string text;
  struct stat file {};
  struct stat folder {};
  if (const int error = readRegularFile(path, &text, &file); error != 0) {
    if (error == ENOENT || error == ENOTDIR) return {};
    return {"",
            translatedWith("The policy {} is ignored, because it cannot be read ({}); make it a "
                           "file that everybody can read",
                           path, std::strerror(error))};
  }
  // Whoever can change the folder can put another file in its place.
  if (!onlyOwnerChanges(file, folders_.policy_owner) ||
      stat(path.substr(0, path.find_last_of('/')).c_str(), &folder) != 0 ||
      !onlyOwnerChanges(folder, folders_.policy_owner)) {
    return {"",
            translatedWith("The policy {} is ignored, because others than root can change it or "
                           "its folder; give both to root, and take the right to write from "
                           "all others",
                           path)};
  }
  talibobjc_Trace::traceWithFormat("TaSettings:readfile: begin: {}", path);
  if (readtext(text, path) == unreadable) {
    return {"", translatedWith("The policy {} is ignored, because it is not UTF-8 text; save it as "
                               "UTF-8",
                               path)};
  }
  return {path, ""};
}

const std::string* TaSettings::value(std::string_view key) const {
  const auto found = dict.find(lowerCase(key));
  return found == dict.end() ? nullptr : &found->second.value;
}

const std::string* TaSettings::fileOf(std::string_view key) const {
  const auto found = dict.find(lowerCase(key));
  return found == dict.end() ? nullptr : &found->second.file;
}

std::map<std::string, std::string> TaSettings::values() const {
  std::map<std::string, std::string> list;
  for (const auto& [key, written] : dict) list[key] = written.value;
  return list;
}

bool TaSettings::readbool(std::string_view key, bool default_value) const {
  const auto name = [](bool flag) { return flag ? "TRUE" : "FALSE"; };
  const std::string* found = value(key);
  if (found == nullptr || found->empty()) {
    talibobjc_Trace::traceWithFormat("TaSettings:readbool:   {} using default: {}", key,
                                     name(default_value));
    return default_value;
  }
  const bool result = settingsFlag(*found).value_or(default_value);
  talibobjc_Trace::traceWithFormat("TaSettings:readbool:   {} -> {}", key, name(result));
  return result;
}

std::int32_t TaSettings::readint(std::string_view key, std::int32_t default_value) const {
  const std::string* found = value(key);
  if (found == nullptr || found->empty()) {
    talibobjc_Trace::traceWithFormat("TaSettings:readint:    {} using default: {}", key,
                                     default_value);
    return default_value;
  }
  const auto result = static_cast<std::int32_t>(leadingInteger(*found));
  talibobjc_Trace::traceWithFormat("TaSettings:readint:    {} -> {}", key, result);
  return result;
}

std::string TaSettings::readstr(std::string_view key, std::string_view default_value,
                                bool bUseDefaultForEmptyValue) const {
  const std::string* found = value(key);
  if (found == nullptr || (found->empty() && bUseDefaultForEmptyValue)) {
    return std::string(default_value);
  }
  return *found;
}

}  // namespace talvane
