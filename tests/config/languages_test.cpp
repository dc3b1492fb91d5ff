// The settings' texts in other languages.

#include <gtest/gtest.h>

#include <set>

#include "config/ini.h"
#include "config/settings_check.h"
#include "config/settings_text.h"
#include "platform/translation.h"
#include "tests/config/settings_places.h"
#include "tests/config/trace_file.h"
#include "tests/support/memory_user_defaults.h"

namespace talvane::test {
namespace {

class LanguagesTest : public testing::Test {
 protected:
  void setLanguage(const std::string& text) {
    std::filesystem::create_directory(places_.root() + "/bundle/languages");
    writeFile(places_.root() + "/bundle/languages/de.ini", text);
  }

  Ini read(const std::string& language = "de") {
    SettingsFolders folders = places_.folders();
    folders.language = language;
    Ini ini(defaults_, folders);
    ini.read();
    return ini;
  }

  SettingsPlaces places_;
  MemoryUserDefaults defaults_;
};

TEST_F(LanguagesTest, LanguageStandsBelowTheSettingsFile) {
  setLanguage("# Deutsch\nStrButtonEdit=Bearbeiten\nStrButtonAdd=Hinzu\nStrButtonHelp=\n");
  writeFile(places_.home(), "StrButtonAdd=Plus\nStrButtonEdit=\n");
  const Ini ini = read();
  EXPECT_EQ(ini.StrButtonEdit, "Bearbeiten");  // an empty value gives the default
  EXPECT_EQ(ini.StrButtonAdd, "Plus");
  EXPECT_EQ(ini.StrButtonHelp, "Help");
  EXPECT_EQ(ini.StrButtonHome, "Home");
  for (const Ini::Entry& entry : ini.entries()) {
    EXPECT_EQ(entry.from_file, entry.key == "StrButtonAdd") << entry.key;
  }
}

TEST_F(LanguagesTest, WithoutLanguageOrItsFileTextsAreEnglish) {
  setLanguage("StrButtonEdit=Bearbeiten\n");
  EXPECT_EQ(read("").StrButtonEdit, "Edit");
  EXPECT_EQ(read("fr").StrButtonEdit, "Edit");
  setLanguage("StrButtonEdit=\xff\n");
  EXPECT_EQ(read().StrButtonEdit, "Edit");
}

TEST_F(LanguagesTest, LanguageSetsNothingButTexts) {
  setLanguage("Debug=true\nEnrolURL=https://other.example\nAllowHTTP=true\nRollupSteps=3\n");
  const Ini ini = read();
  EXPECT_FALSE(ini.bDebug);
  EXPECT_EQ(ini.EnrolURL, "");
  EXPECT_FALSE(ini.bAllowHTTP);
  EXPECT_EQ(ini.RollupSteps, 10);
}

TEST_F(LanguagesTest, LeavesNoTrace) {
  setLanguage("StrButtonEdit=Bearbeiten\nDebug=true\n");
  writeFile(places_.home(), "AllowManual=yes\n");
  const auto traceOf = [this](const std::string& language) {
    const TraceFile trace;
    static_cast<void>(read(language));
    return trace.texts();
  };
  EXPECT_EQ(traceOf("de"), traceOf(""));
  EXPECT_FALSE(traceOf("").empty());
}

// What a language file of the sources holds.
std::string languageFile(std::string_view language) {
  return readFile(std::string(LANGUAGES) + '/' + std::string(language) + ".ini");
}

TEST(LanguageFiles, HoldEveryTextAndNothingElse) {
  std::vector<std::string> expected;
  for (const Ini::Key& key : Ini::keys()) {
    if (key.name.starts_with("Str")) expected.emplace_back(key.name);
  }
  EXPECT_EQ(expected.size(), 29U);
  for (const std::string_view language : languages) {
    const std::string text = languageFile(language);
    std::vector<std::string> found;
    for (const SettingsLine& line : settingsLines(text)) {
      found.emplace_back(line.key);
      EXPECT_FALSE(line.value.empty()) << language << ' ' << line.key;
    }
    EXPECT_EQ(found, expected) << language;
    for (const SettingsFinding& finding : checkSettings(text)) {
      ADD_FAILURE() << language << ".ini:" << finding.line << ": " << finding.text;
    }
  }
}

TEST(LanguageFiles, AreThoseOfTheLanguages) {
  std::set<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(LANGUAGES)) {
    files.insert(entry.path().stem());
  }
  EXPECT_EQ(files, std::set<std::string>(languages.begin(), languages.end()));
}

}  // namespace
}  // namespace talvane::test
