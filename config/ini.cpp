#include "config/ini.h"

#include <fmt/core.h>
#include <sys/stat.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "config/settings_text.h"
#include "config/ta_settings.h"
#include "engine/text.h"
#include "engine/vane.h"
#include "platform/regular_file.h"
#include "platform/shortcut.h"
#include "platform/user_defaults.h"

namespace talvane {
namespace {

using Property = std::variant<std::string Ini::*, bool Ini::*, std::int64_t Ini::*>;

// One key of the file: its property and its default.
struct Setting {
  std::string_view key;
  Property property;
  std::variant<std::string_view, bool, std::int32_t> default_value;
  bool is_traced = true;
};

// CMake sets the system: each has its own page.
constexpr std::string_view getting_started =
    "https://softtoken.talvane.example/getting-started/" SOFTTOKEN_SYSTEM;

// In the order of reading, which the trace shows.
constexpr auto settings_table = std::to_array<Setting>({
    {"EnrolURL", &Ini::EnrolURL, ""},
    {"Debug", &Ini::bDebug, false},
    {"AllowManual", &Ini::bAllowManual, false},
    {"AllowTaEnrol", &Ini::bAllowTaEnrol, true},
    {"AllowHTTP", &Ini::bAllowHTTP, false},
    {"CopyButton", &Ini::bCopyButton, true},
    {"CloseOnCopy", &Ini::bCloseOnCopy, true},
    {"RollupSteps", &Ini::RollupSteps, 10},
    {"RollupInterval", &Ini::RollupInterval, 10},
    {"GettingStartedURL", &Ini::GettingStartedURL, getting_started},
    {"ButtonFontSize", &Ini::iButtonFontSize, 12},
    {"ProtocolVersion", &Ini::iProtocolVersion, 7200},
    {"StrMenuOpen", &Ini::StrMenuOpen, "Open"},
    {"StrMenuAdd", &Ini::StrMenuAdd, "Add"},
    {"StrMenuExit", &Ini::StrMenuExit, "Exit"},
    {"StrUsername", &Ini::StrUsername, "Username"},
    {"StrPassword", &Ini::StrPassword, "Microsoft Password"},
    {"StrPasscode", &Ini::StrPasscode, "Passcode"},
    {"StrAccessDenied", &Ini::StrAccessDenied, "Access Denied"},
    {"StrGetURL", &Ini::StrGetURL,
     "Please enter the URL of your company's Talvane server taenrol page"},
    {"StrGettingStarted", &Ini::StrGettingStarted, "Getting started"},
    {"StrManage", &Ini::StrManage, "Manage Your Token Type"},
    {"StrPleaseWait", &Ini::StrPleaseWait, "Please wait..."},
    {"StrEnrolPrompt", &Ini::StrEnrolPrompt, "Please enter the following:"},
    {"StrErrNoEnrolURL", &Ini::StrErrNoEnrolURL, "No enrol URL configured"},
    {"StrButtonEdit", &Ini::StrButtonEdit, "Edit"},
    {"StrButtonHelp", &Ini::StrButtonHelp, "Help"},
    {"StrButtonAdd", &Ini::StrButtonAdd, "Add"},
    {"StrButtonHome", &Ini::StrButtonHome, "Home"},
    {"StrButtonCancel", &Ini::StrButtonCancel, "Cancel"},
    {"StrButtonDelete", &Ini::StrButtonDelete, "Delete"},
    {"StrButtonSubmit", &Ini::StrButtonSubmit, "Submit"},
    {"StrButtonOK", &Ini::StrButtonOK, "OK"},
    {"StrButtonCopy", &Ini::StrButtonCopy, "Copy"},
    {"StrDeletePleaseSelect", &Ini::StrDeletePleaseSelect, "Please select a token to delete"},
    {"StrDeleteAreYouSure", &Ini::StrDeleteAreYouSure,
     "Are you sure you want to delete these tokens?"},
    {"StrManualDesc", &Ini::StrManualDesc, "Enter a description"},
    {"StrManualSeed", &Ini::StrManualSeed, "Enter your 13 or 16 character key"},
    {"StrSecretQuestions", &Ini::StrSecretQuestions, "Secret Questions"},
    {"StrStartupAdd", &Ini::StrStartupAdd, "Add to \"Login Items\""},
    {"StrStartupRemove", &Ini::StrStartupRemove, "Remove from \"Login Items\""},
    // Added later. The lines of the trace stay as they were.
    {"ClipboardSeconds", &Ini::ClipboardSeconds, 60, false},
    {"LoginItems", &Ini::LoginItems, "ask"},
    {"Shortcut", &Ini::Shortcut, no_shortcut, false},
    {"AllowSearch", &Ini::bAllowSearch, true, false},
});

// As TaSettings::readbool, without a line in the trace.
bool untracedFlag(const TaSettings& settings, std::string_view key, bool default_value) {
  const std::string* value = settings.value(key);
  return value == nullptr ? default_value : settingsFlag(*value).value_or(default_value);
}

// As TaSettings::readint, without a line in the trace.
std::int32_t untracedInteger(const TaSettings& settings, std::string_view key,
                             std::int32_t default_value) {
  const std::string* value = settings.value(key);
  return value == nullptr || value->empty() ? default_value
                                            : static_cast<std::int32_t>(leadingInteger(*value));
}

}  // namespace

Ini::Ini(UserDefaults& defaults) : Ini(defaults, SettingsFolders::ofThisSystem()) {}

Ini::Ini(UserDefaults& defaults, SettingsFolders folders)
    : defaults_(defaults), folders_(std::move(folders)), settings_(folders_) {
  for (const Setting& setting : settings_table) {
    if (const auto* text = std::get_if<std::string_view>(&setting.default_value)) {
      this->*std::get<std::string Ini::*>(setting.property) = *text;
    }
  }
}

bool Ini::read() {
  settings_ = TaSettings(folders_);
  const std::uint16_t location =
      settings_.read(file_name, TaSettings::home_location | TaSettings::system_location |
                                    TaSettings::bundle_location);
  file_ = location != 0 ? settings_.pathAt(location, file_name) : std::string();
  readLanguage();
  policy_ = settings_.readpolicy();
  fillFrom(settings_);
  loginitems = nullptr;
  return true;
}

void Ini::readLanguage() {
  language_texts_.clear();
  std::string text;
  language_file_ = folders_.bundle + "/languages/" + folders_.language + ".ini";
  if (folders_.language.empty() || readRegularFile(language_file_, &text) != 0 || !isUtf8(text)) {
    return;
  }
  for (const SettingsLine& line : settingsLines(text)) {
    // Texts alone: a language has no say in what the program does.
    if (line.key.starts_with("Str") && !line.value.empty())
      language_texts_.emplace(line.key, line.value);
  }
}

void Ini::fillFrom(const TaSettings& settings) {
  for (const auto& [key, property, default_value, is_traced] : settings_table) {
    if (const auto* text = std::get_if<std::string Ini::*>(&property)) {
      const auto in_language = language_texts_.find(std::string(key));
      this->** text = settings.readstr(key,
                                       in_language != language_texts_.end()
                                           ? std::string_view(in_language->second)
                                           : std::get<std::string_view>(default_value),
                                       true);
    } else if (const auto* flag = std::get_if<bool Ini::*>(&property)) {
      const bool otherwise = std::get<bool>(default_value);
      this->** flag =
          is_traced ? settings.readbool(key, otherwise) : untracedFlag(settings, key, otherwise);
    } else {
      const auto number = std::get<std::int32_t>(default_value);
      this->*std::get<std::int64_t Ini::*>(property) =
          is_traced ? settings.readint(key, number) : untracedInteger(settings, key, number);
    }
  }
}

std::vector<std::string> Ini::unreadableFiles() const {
  std::vector<std::string> list;
  for (const std::string& path : paths()) {
    if (path == file_) break;
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0) list.push_back(path);
  }
  return list;
}

std::vector<std::string> Ini::paths() const {
  std::vector<std::string> list;
  for (const auto location :
       {TaSettings::home_location, TaSettings::system_location, TaSettings::bundle_location}) {
    list.push_back(settings_.pathAt(location, file_name));
  }
  return list;
}

std::vector<Ini::Key> Ini::keys() {
  std::vector<Key> list;
  for (const Setting& setting : settings_table) {
    if (const auto* text = std::get_if<std::string_view>(&setting.default_value)) {
      list.push_back({setting.key, Key::Kind::text, std::string(*text)});
    } else if (const auto* flag = std::get_if<bool>(&setting.default_value)) {
      list.push_back({setting.key, Key::Kind::flag, *flag ? "true" : "false"});
    } else {
      list.push_back({setting.key, Key::Kind::integer,
                      std::to_string(std::get<std::int32_t>(setting.default_value))});
    }
  }
  return list;
}

std::vector<Ini::Entry> Ini::entries() const {
  std::vector<Entry> list;
  for (const Setting& setting : settings_table) {
    Entry entry;
    entry.key = setting.key;
    if (const auto* text = std::get_if<std::string Ini::*>(&setting.property)) {
      entry.value = this->**text;
    } else if (const auto* flag = std::get_if<bool Ini::*>(&setting.property)) {
      entry.value = this->**flag ? "true" : "false";
    } else {
      entry.value = std::to_string(this->*std::get<std::int64_t Ini::*>(setting.property));
    }
    const std::string* written = settings_.value(setting.key);
    entry.from_file = written != nullptr && !written->empty();
    if (entry.from_file) {
      entry.file = *settings_.fileOf(setting.key);
    } else if (language_texts_.contains(std::string(setting.key))) {
      entry.file = language_file_;
    }
    list.push_back(std::move(entry));
  }
  return list;
}

Ini::AtLogin Ini::atLogin() const {
  return atLogin(LoginItems).value_or(AtLogin::ask);
}

std::optional<Ini::AtLogin> Ini::atLogin(std::string_view value) {
  const std::string lower = lowerCase(value);
  if (lower == "ask") return AtLogin::ask;
  if (lower == "on") return AtLogin::on;
  if (lower == "off") return AtLogin::off;
  return std::nullopt;
}

std::string Ini::tidyEnrolURL() const {
  vane::log("INI: TidyEnrolURL: EnrolURL in:  {}", EnrolURL);
  std::string url;
  if (EnrolURL.empty()) {
    vane::log("INI: TidyEnrolURL:  No INI EnrolURL, trying UserDefaults...");
    // Log a remembered address for readers of the trace; only the settings file counts.
    std::string value;
    if (defaults_.string("EnrolURL", &value) == UserDefaults::Found::yes) {
      vane::log("INI: TidyEnrolURL:  value:{}", value);
    } else {
      vane::log("INI: TidyEnrolURL:  not found");
    }
  } else {
    url = lowerCase(EnrolURL);
    if (url.ends_with("taenrol")) url += '/';
    if (!url.ends_with("/taenrol/")) url += url.ends_with('/') ? "taenrol/" : "/taenrol/";
    url += fmt::format("enrol.exe?SoftTokenMode={}", iProtocolVersion);
  }
  vane::log("INI: TidyEnrolURL: EnrolURL out: {}", url);
  return url;
}

}  // namespace talvane
