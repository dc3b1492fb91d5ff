#include "config/settings_check.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "config/ini.h"

namespace talvane {
namespace {

std::vector<std::string> findings(std::string_view text) {
  std::vector<std::string> list;
  for (const SettingsFinding& finding : checkSettings(text)) {
    list.push_back(std::to_string(finding.line) + ": " + finding.text);
  }
  return list;
}

using Lines = std::vector<std::string>;

TEST(SettingsCheck, NothingToSayOfAGoodFile) {
  EXPECT_EQ(findings("# comment\r\n[section]\r\n\r\nEnrolURL=https://srv/\r\ndebug=YES\r\n"
                     "RollupSteps=-3\nButtonFontSize=+12\nStrStartupAdd=Start at login\n"
                     "ClipboardSeconds=0\n"),
            Lines());
}

TEST(SettingsCheck, EveryKeyWithItsDefaultIsGoodButTheEmptyAddress) {
  std::string text;
  for (const Ini::Key& key : Ini::keys()) {
    text += std::string(key.name) + "=" + key.default_value + "\n";
  }
  EXPECT_EQ(findings(text), Lines{"1: EnrolURL is empty; its default \"\" is used"});
}

TEST(SettingsCheck, FileThatIsNoText) {
  EXPECT_EQ(unreadableFile("/etc/tasofttoken.ini"),
            "/etc/tasofttoken.ini is not readable UTF-8 text; fix it or remove it");
}

TEST(SettingsCheck, UnknownKey) {
  EXPECT_EQ(findings("AlowManual=1\n"), Lines{"1: Unknown key \"AlowManual\""});
}

TEST(SettingsCheck, LineWithoutEqualsEndsTheReading) {
  EXPECT_EQ(findings("Debug=1\nAllowManual\nAllowHTTP=1\n"),
            Lines{"2: No \"=\": everything from here on is ignored"});
}

TEST(SettingsCheck, BlanksAroundEquals) {
  EXPECT_EQ(findings("Debug =1\nAllowManual= 1\n"),
            (Lines{"1: The spaces around \"Debug\" make it an unknown key; remove them",
                   "2: The spaces around \"1\" are part of the value",
                   "2: AllowManual= 1 is neither true nor false; its default \"false\" is used"}));
}

TEST(SettingsCheck, ValueOfAnUnknownKeyIsNotLookedAt) {
  EXPECT_EQ(findings("Debug =maybe\nDebug =\nAlowManual=\nAlowManual=maybe\n"),
            (Lines{"1: The spaces around \"Debug\" make it an unknown key; remove them",
                   "2: The spaces around \"Debug\" make it an unknown key; remove them",
                   "3: Unknown key \"AlowManual\"", "4: Unknown key \"AlowManual\""}));
}

TEST(SettingsCheck, SignsOfWholeNumbers) {
  for (const char* value : {",3", "3-", "--3", "+-3", "+", "-", "3.0"}) {
    EXPECT_EQ(findings(std::string("RollupSteps=") + value + "\n").size(), 1U) << value;
  }
}

TEST(SettingsCheck, ValuesThatReadAsSomethingElse) {
  EXPECT_EQ(findings("AllowHTTP=on\nButtonFontSize=large\nStrPassword=\nClipboardSeconds=off\n"),
            (Lines{"1: AllowHTTP=on is neither true nor false; its default \"false\" is used",
                   "2: ButtonFontSize=large is not a whole number; it is read as 0",
                   "3: StrPassword is empty; its default \"Microsoft Password\" is used",
                   "4: ClipboardSeconds=off is not a whole number; it is read as 0"}));
}

TEST(SettingsCheck, RepeatedKeyInAnotherCase) {
  EXPECT_EQ(findings("Debug=1\nDEBUG=0\n"),
            Lines{"2: Debug is already in line 1; this line replaces it"});
}

TEST(SettingsCheck, ByteOrderMarkIsNoPartOfTheFirstKey) {
  EXPECT_EQ(findings("\xEF\xBB\xBF"
                     "Debug=1\n"),
            Lines());
}

TEST(SettingsCheck, NotUtf8) {
  EXPECT_EQ(findings("Debug=\xFF\n"),
            Lines{"1: The file is not UTF-8 text and is ignored; save it as UTF-8"});
}

}  // namespace
}  // namespace talvane
