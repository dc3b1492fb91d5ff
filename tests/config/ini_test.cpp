#include "config/ini.h"

#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/vane.h"
#include "tests/config/settings_places.h"
#include "tests/config/trace_file.h"
#include "tests/support/fake_gateway.h"
#include "tests/support/memory_user_defaults.h"
#include "tests/support/private_home.h"

namespace talvane::test {
namespace {

using Texts = std::vector<std::string>;

struct BoolSetting {
  const char* key;
  bool Ini::*property;
  bool default_value;
};
constexpr BoolSetting bools[] = {
    {"Debug", &Ini::bDebug, false},
    {"AllowManual", &Ini::bAllowManual, false},
    {"AllowTaEnrol", &Ini::bAllowTaEnrol, true},
    {"AllowHTTP", &Ini::bAllowHTTP, false},
    {"CopyButton", &Ini::bCopyButton, true},
    {"CloseOnCopy", &Ini::bCloseOnCopy, true},
};

struct IntSetting {
  const char* key;
  std::int64_t Ini::*property;
  std::int64_t default_value;
};
constexpr IntSetting ints[] = {
    {"RollupSteps", &Ini::RollupSteps, 10},
    {"RollupInterval", &Ini::RollupInterval, 10},
    {"ButtonFontSize", &Ini::iButtonFontSize, 12},
    {"ProtocolVersion", &Ini::iProtocolVersion, 7200},
    {"ClipboardSeconds", &Ini::ClipboardSeconds, 60},
};

struct TextSetting {
  const char* key;
  std::string Ini::*property;
  const char* default_value;
};
constexpr TextSetting texts[] = {
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
    {"StrStartupAdd", &Ini::StrStartupAdd, R"(Add to "Login Items")"},
    {"StrStartupRemove", &Ini::StrStartupRemove, R"(Remove from "Login Items")"},
};

class IniTest : public testing::Test {
 protected:
  /// Reads a settings file of that content.
  void readFrom(const std::string& content) {
    writeFile(places.home(), content);
    ASSERT_TRUE(ini.read());
  }

  void expectDefaults() {
    for (const auto& setting : bools)
      EXPECT_EQ(ini.*setting.property, setting.default_value) << setting.key;
    for (const auto& setting : ints)
      EXPECT_EQ(ini.*setting.property, setting.default_value) << setting.key;
    for (const auto& setting : texts)
      EXPECT_EQ(ini.*setting.property, setting.default_value) << setting.key;
    EXPECT_EQ(ini.EnrolURL, "");
    EXPECT_EQ(ini.Shortcut, "none");
    EXPECT_TRUE(ini.bAllowSearch);
    EXPECT_TRUE(ini.GettingStartedURL.starts_with("https://")) << ini.GettingStartedURL;
    utsname system{};
    ASSERT_EQ(uname(&system), 0);
    const bool is_macos = std::string_view(system.sysname) == "Darwin";
    EXPECT_TRUE(ini.GettingStartedURL.ends_with(is_macos ? "/macos" : "/linux"))
        << ini.GettingStartedURL;
  }

  SettingsPlaces places;
  MemoryUserDefaults defaults;
  Ini ini{defaults, places.folders()};
};

TEST_F(IniTest, EveryPropertyHasItsDefaultWithoutAFile) {
  expectDefaults();
  EXPECT_TRUE(ini.read());
  expectDefaults();
  EXPECT_EQ(ini.file(), "");
}

TEST_F(IniTest, EveryPropertyHasItsDefaultWithAnEmptyFile) {
  readFrom("# nothing\n");
  expectDefaults();
  EXPECT_EQ(ini.file(), places.home());
}

TEST_F(IniTest, EmptyValuesGiveTheDefaults) {
  std::string content = "EnrolURL=\nGettingStartedURL=\nShortcut=\nAllowSearch=\n";
  for (const auto& setting : bools) content += std::string(setting.key) + "=\n";
  for (const auto& setting : ints) content += std::string(setting.key) + "=\n";
  for (const auto& setting : texts) content += std::string(setting.key) + "=\n";
  readFrom(content);
  expectDefaults();
}

TEST_F(IniTest, EmptyPasswordTextKeepsItsDefault) {
  readFrom("StrPassword=\n");
  EXPECT_EQ(ini.StrPassword, "Microsoft Password");
}

TEST_F(IniTest, EveryBooleanIsRead) {
  for (const auto& setting : bools) {
    for (const auto& [text, value] : {std::pair("YES", true), std::pair("0", false)}) {
      readFrom(std::string(setting.key) + "=" + text);
      for (const auto& other : bools) {
        EXPECT_EQ(ini.*other.property,
                  other.property == setting.property ? value : other.default_value)
            << setting.key << " " << other.key;
      }
    }
  }
}

TEST_F(IniTest, EveryIntegerIsRead) {
  for (const auto& setting : ints) {
    for (const auto& [text, value] :
         {std::pair("-17", -17), std::pair("0", 0), std::pair("99x", 99)}) {
      readFrom(std::string(setting.key) + "=" + text);
      for (const auto& other : ints) {
        EXPECT_EQ(ini.*other.property,
                  other.property == setting.property ? value : other.default_value)
            << setting.key << " " << other.key;
      }
    }
  }
}

TEST_F(IniTest, IntegersAreReadWith32Bits) {
  readFrom("RollupSteps=4294967297\nProtocolVersion=2147483648\n");
  EXPECT_EQ(ini.RollupSteps, 1);
  EXPECT_EQ(ini.iProtocolVersion, INT64_C(-2147483648));
}

TEST_F(IniTest, NoRollupStepsAreAccepted) {
  readFrom("RollupSteps=0\n");
  EXPECT_EQ(ini.RollupSteps, 0);
}

TEST_F(IniTest, EveryTextIsRead) {
  std::string content;
  for (const auto& setting : texts) {
    content += std::string(setting.key) + "= a text = of " + setting.key + " \r\n";
  }
  readFrom(content + "EnrolURL=HTTPS://Srv/TaEnrol\r\nGettingStartedURL=x y\r\n");
  for (const auto& setting : texts) {
    EXPECT_EQ(ini.*setting.property, " a text = of " + std::string(setting.key) + " ");
  }
  EXPECT_EQ(ini.EnrolURL, "HTTPS://Srv/TaEnrol");
  EXPECT_EQ(ini.GettingStartedURL, "x y");
}

TEST_F(IniTest, KeysAreTheSameInUpperAndLowerCase) {
  readFrom("ENROLURL=one\nallowmanual=yes\nstrbuttonok=Fine\n");
  EXPECT_EQ(ini.EnrolURL, "one");
  EXPECT_TRUE(ini.bAllowManual);
  EXPECT_EQ(ini.StrButtonOK, "Fine");
}

TEST_F(IniTest, FirstFileFoundIsTheOnlyOneRead) {
  writeFile(places.bundle(), "StrUsername=bundle\n");
  ini.read();
  EXPECT_EQ(ini.StrUsername, "bundle");
  EXPECT_EQ(ini.file(), places.bundle());
  writeFile(places.system(), "Debug=yes\n");
  ini.read();
  EXPECT_EQ(ini.StrUsername, "Username");
  EXPECT_TRUE(ini.bDebug);
  EXPECT_EQ(ini.file(), places.system());
  writeFile(places.home(), "");
  ini.read();
  EXPECT_FALSE(ini.bDebug);
  EXPECT_EQ(ini.file(), places.home());
}

TEST_F(IniTest, ReadingAgainForgetsTheEarlierFile) {
  readFrom("StrUsername=one\nDebug=yes\nRollupSteps=3\nEnrolURL=x\n");
  readFrom("");
  expectDefaults();
}

TEST_F(IniTest, PropertiesThatNoFileSetsStayAsTheyAre) {
  readFrom(
      "LostFocusClose=yes\nbLostFocusClose=yes\nSingleClickOpen=yes\nbSingleClickOpen=yes\n"
      "SingleClickClose=yes\nbSingleClickClose=yes\nCloseWhenFocusLost=yes\n"
      "bCloseWhenFocusLost=yes\nProxy=p\nCustomLogo=c\nloginitems=x\n");
  EXPECT_FALSE(ini.bLostFocusClose);
  EXPECT_FALSE(ini.bSingleClickOpen);
  EXPECT_FALSE(ini.bSingleClickClose);
  EXPECT_FALSE(ini.bCloseWhenFocusLost);
  EXPECT_EQ(ini.Proxy, "");
  EXPECT_EQ(ini.CustomLogo, "");
  EXPECT_EQ(ini.loginitems, nullptr);
}

TEST_F(IniTest, ShortcutAndSearch) {
  readFrom("shortcut=Super+T\nALLOWSEARCH=No\n");
  EXPECT_EQ(ini.Shortcut, "Super+T");
  EXPECT_FALSE(ini.bAllowSearch);
  readFrom("AllowSearch=never\n");
  EXPECT_TRUE(ini.bAllowSearch);
}

TEST_F(IniTest, ReadingEmptiesTheLoginItems) {
  ini.loginitems = this;
  ini.read();
  EXPECT_EQ(ini.loginitems, nullptr);
}

TEST_F(IniTest, KeysAreReadInTheOrderOfTheTables) {
  const TraceFile trace;
  readFrom("AllowHTTP=1\nRollupInterval=5\n");
  EXPECT_EQ(trace.texts(), (Texts{"TaSettings:readfile: begin: " + places.home(),
                                  "TaSettings:readfile: trimmed line: 'AllowHTTP=1'",
                                  "TaSettings:readfile:   key:'AllowHTTP' value:'1'",
                                  "TaSettings:readfile: trimmed line: 'RollupInterval=5'",
                                  "TaSettings:readfile:   key:'RollupInterval' value:'5'",
                                  "TaSettings:readbool:   Debug using default: FALSE",
                                  "TaSettings:readbool:   AllowManual using default: FALSE",
                                  "TaSettings:readbool:   AllowTaEnrol using default: TRUE",
                                  "TaSettings:readbool:   AllowHTTP -> TRUE",
                                  "TaSettings:readbool:   CopyButton using default: TRUE",
                                  "TaSettings:readbool:   CloseOnCopy using default: TRUE",
                                  "TaSettings:readint:    RollupSteps using default: 10",
                                  "TaSettings:readint:    RollupInterval -> 5",
                                  "TaSettings:readint:    ButtonFontSize using default: 12",
                                  "TaSettings:readint:    ProtocolVersion using default: 7200"}));
}

TEST_F(IniTest, ListingNamesEveryKeyOnceInTheOrderOfTheTables) {
  Texts expected{"EnrolURL"};
  for (const auto& setting : bools) expected.emplace_back(setting.key);
  expected.insert(expected.end(), {"RollupSteps", "RollupInterval", "GettingStartedURL",
                                   "ButtonFontSize", "ProtocolVersion"});
  for (const auto& setting : texts) expected.emplace_back(setting.key);
  expected.insert(expected.end(), {"ClipboardSeconds", "LoginItems", "Shortcut", "AllowSearch"});
  Texts keys;
  for (const auto& entry : ini.entries()) keys.emplace_back(entry.key);
  EXPECT_EQ(keys, expected);
}

TEST_F(IniTest, ListingTellsValuesAndWhereTheyAreFrom) {
  readFrom("EnrolURL=https://srv\nDebug=yes\nRollupSteps=0\nStrUsername=\n");
  std::map<std::string, std::pair<std::string, bool>> listed;
  for (const auto& entry : ini.entries()) {
    listed[std::string(entry.key)] = {entry.value, entry.from_file};
  }
  EXPECT_EQ(listed["EnrolURL"], std::pair(std::string("https://srv"), true));
  EXPECT_EQ(listed["Debug"], std::pair(std::string("true"), true));
  EXPECT_EQ(listed["AllowHTTP"], std::pair(std::string("false"), false));
  EXPECT_EQ(listed["RollupSteps"], std::pair(std::string("0"), true));
  EXPECT_EQ(listed["ProtocolVersion"], std::pair(std::string("7200"), false));
  EXPECT_EQ(listed["StrUsername"], std::pair(std::string("Username"), false)) << "it was empty";
}

TEST_F(IniTest, SystemsOwnPlacesAreTheDefault) {
  const PrivateHome home;
  writeFile(home.home() + "/tasofttoken.ini", "StrUsername=of the home\n");
  Ini system(defaults);
  EXPECT_EQ(system.StrUsername, "Username");
  EXPECT_TRUE(system.read());
  EXPECT_EQ(system.StrUsername, "of the home");
  EXPECT_EQ(system.file(), home.home() + "/tasofttoken.ini");
}

TEST_F(IniTest, FilesThatWerePassedOverAreKnown) {
  ini.read();
  EXPECT_EQ(ini.unreadableFiles(), Texts());
  writeFile(places.system(), "Debug=1\n");
  writeFile(places.bundle(), "\xFF");
  ini.read();
  EXPECT_EQ(ini.unreadableFiles(), Texts()) << "the last one does not count";
  writeFile(places.home(), "\xFF");
  ini.read();
  EXPECT_EQ(ini.unreadableFiles(), Texts{places.home()});
  writeFile(places.system(), "\xFF");
  ini.read();
  EXPECT_EQ(ini.unreadableFiles(), (Texts{places.home(), places.system(), places.bundle()}));
}

}  // namespace
}  // namespace talvane::test
