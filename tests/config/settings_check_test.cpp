#include "config/settings_check.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "config/ini.h"
#include "tests/support/temporary_folder.h"

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
                     "ClipboardSeconds=0\nShortcut=super+F1\nAllowSearch=no\n"),
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

TEST(SettingsCheck, AShortcutThatIsNone) {
  EXPECT_EQ(findings("Shortcut=None\n"), Lines());
  EXPECT_EQ(findings("Shortcut=T\n"),
            Lines{"1: Shortcut=T is not a shortcut such as Ctrl+Alt+T; there is none"});
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

TEST(SettingsCheck, NumbersThatDoNotFit) {
  EXPECT_EQ(findings("RollupSteps=99999999999\nButtonFontSize=2147483647\n"
                     "ProtocolVersion=-2147483649\nRollupInterval=-2147483648\n"),
            (Lines{"1: RollupSteps=99999999999 does not fit; it is read as 1215752191. Give a "
                   "number from -2147483648 to 2147483647",
                   "3: ProtocolVersion=-2147483649 does not fit; it is read as 2147483647. Give a "
                   "number from -2147483648 to 2147483647"}));
}

TEST(SettingsCheck, AddressWithoutAScheme) {
  EXPECT_EQ(findings("EnrolURL=srv.example\n"),
            Lines{"1: EnrolURL: srv.example does not begin with https://, so nobody can enrol "
                  "there; add that"});
  EXPECT_EQ(findings("EnrolURL=ftp://srv.example\n").size(), 1U);
  EXPECT_EQ(findings("EnrolURL=HTTPS://srv.example\n"), Lines());
}

TEST(SettingsCheck, AddressOverPlainHttp) {
  const Lines refused{
      "1: EnrolURL: http://srv.example is not allowed; use https, or set AllowHTTP=true"};
  EXPECT_EQ(findings("EnrolURL=http://srv.example\n"), refused);
  EXPECT_EQ(findings("EnrolURL=http://srv.example\nAllowHTTP=no\n"), refused);
  EXPECT_EQ(findings("EnrolURL=http://srv.example\nallowhttp=Yes\n"), Lines());
  EXPECT_EQ(findings("EnrolURL=http://srv.example\nstop\nAllowHTTP=yes\n").size(), 2U)
      << "a line that is not read allows nothing";
  EXPECT_EQ(checkSettings("EnrolURL=http://srv.example\n", true).size(), 0U);
  EXPECT_EQ(checkSettings("EnrolURL=http://srv.example\nAllowHTTP=yes\n", false).size(), 1U);
}

TEST(SettingsCheck, FileThatEndsWithinALine) {
  EXPECT_EQ(findings("Debug=1\nAllowMan"),
            (Lines{"2: No \"=\": everything from here on is ignored",
                   "2: The file ends without a line end, so its end may be missing; check the last "
                   "line and end it"}));
  EXPECT_EQ(findings(""), Lines());
}

TEST(SettingsCheck, LoginItems) {
  EXPECT_EQ(findings("LoginItems=On\n"), Lines());
  EXPECT_EQ(findings("LoginItems=yes\n"),
            Lines{"1: LoginItems=yes is none of ask, on and off; its default \"ask\" is used"});
}

class SettingsFileRights : public testing::Test {
 protected:
  SettingsFileRights() {
    std::filesystem::create_directory(folder / "etc");
    test::writeFile(file, "Debug=0\n");
    setModes(0755, 0644);
  }
  void setModes(mode_t folder_mode, mode_t file_mode) const {
    EXPECT_EQ(chmod((folder / "etc").c_str(), folder_mode), 0);
    EXPECT_EQ(chmod(file.c_str(), file_mode), 0);
  }
  test::TemporaryFolder folder;
  std::string file = folder / "etc/tasofttoken.ini";
};

TEST_F(SettingsFileRights, OfTheUserOrRootAlone) {
  EXPECT_EQ(changeableByOthers(file), "");
  EXPECT_EQ(changeableByOthers("/etc/passwd"), "");
  EXPECT_EQ(changeableByOthers(folder / "none"), "");
}

TEST_F(SettingsFileRights, FileThatOthersCanWrite) {
  for (const mode_t mode : {mode_t{0664}, mode_t{0646}}) {
    setModes(0755, mode);
    EXPECT_EQ(changeableByOthers(file), "Others can change " + file +
                                            "; give it to its user or root, and run `chmod go-w " +
                                            file + "`");
  }
}

TEST_F(SettingsFileRights, FolderThatOthersCanWrite) {
  for (const mode_t mode : {mode_t{0775}, mode_t{0757}}) {
    setModes(mode, 0644);
    EXPECT_TRUE(changeableByOthers(file).starts_with("Others can put another file in place of "))
        << changeableByOthers(file);
  }
  setModes(01777, 0644);
  EXPECT_EQ(changeableByOthers(file), "") << "as in /tmp";
}

TEST_F(SettingsFileRights, FileOfAnotherUser) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  ASSERT_EQ(chown(file.c_str(), 65534, 65534), 0);
  EXPECT_NE(changeableByOthers(file), "");
}

TEST(SettingsCheck, NotUtf8) {
  EXPECT_EQ(findings("Debug=\xFF\n"),
            Lines{"1: The file is not UTF-8 text and is ignored; save it as UTF-8"});
}

}  // namespace
}  // namespace talvane
