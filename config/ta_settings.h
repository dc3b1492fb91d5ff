#pragma once

// One plain-text file of KEY=VALUE lines, in the format of settings_text.h. Keys ignore case. A
// line without "=" ends the reading: the keys above it count, those below it do not.

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace talvane {

/// The folders of settings files, and the policy: the system's own, except in tests.
struct SettingsFolders {
  std::string home;
  std::string system;
  std::string bundle;
  std::string policy{};       // the path of the file; empty: there is none
  uid_t policy_owner = 0;     // who alone may be able to change it
  std::string language = {};  // of the texts that no file sets; empty for English
  static SettingsFolders ofThisSystem();
};

class TaSettings {
 public:
  /// Location bits of `read`.
  static constexpr std::uint16_t system_location = 8;
  static constexpr std::uint16_t home_location = 16;
  static constexpr std::uint16_t bundle_location = 32;

  /// Results of `readfile`.
  static constexpr std::uint8_t unreadable = 0;
  static constexpr std::uint8_t read_whole = 1;
  static constexpr std::uint8_t stopped_early = 255;

  TaSettings() : TaSettings(SettingsFolders::ofThisSystem()) {}
  explicit TaSettings(SettingsFolders folders) : folders_(std::move(folders)) {}

  /// Parses one file into the table. `unreadable` leaves the table unchanged.
  std::uint8_t readfile(const std::string& path);
  /// The same for the text of a file, which `fileOf` names.
  std::uint8_t readtext(std::string_view text, const std::string& file = {});

  /// Reads the first readable file from home, system and bundle, of those whose bit is set (a mask
  /// of 0 means all). Returns that location's bit, or 0.
  std::uint16_t read(const std::string& fileName, std::uint16_t locations);

  /// The administrator's policy.
  struct Policy {
    std::string file;     // its path; empty if there is none, or it is ignored
    std::string problem;  // why it is ignored, for the user; empty if it is not
  };
  /// Reads the policy over the table: its keys win. Ignores one that anybody but its owner can
  /// change. Without the file it does nothing.
  Policy readpolicy();

  /// "1", "true", "yes" and "0", "false", "no" in any case; the default for anything else.
  [[nodiscard]] bool readbool(std::string_view key, bool default_value) const;
  /// The value's leading decimal integer, truncated to 32 bits; the default when missing or empty.
  [[nodiscard]] std::int32_t readint(std::string_view key, std::int32_t default_value) const;
  [[nodiscard]] std::string readstr(std::string_view key, std::string_view default_value,
                                    bool bUseDefaultForEmptyValue) const;

  /// The value as written, or null.
  [[nodiscard]] const std::string* value(std::string_view key) const;
  /// The file that the value comes from, or null.
  [[nodiscard]] const std::string* fileOf(std::string_view key) const;
  /// Every value by its key in lower case.
  [[nodiscard]] std::map<std::string, std::string> values() const;
  /// The path of the file at that location.
  [[nodiscard]] std::string pathAt(std::uint16_t location, const std::string& fileName) const;

 private:
  struct Written {
    std::string value;
    std::string file;
  };
  bool parse(std::string_view text, const std::string& file);

  SettingsFolders folders_;
  std::unordered_map<std::string, Written> dict;
};

}  // namespace talvane
