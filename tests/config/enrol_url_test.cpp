// The enrolment request address.

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "config/ini.h"
#include "engine/vane.h"
#include "tests/config/settings_places.h"
#include "tests/support/gateway_test.h"
#include "tests/support/memory_user_defaults.h"

namespace talvane::test {
namespace {

using Texts = std::vector<std::string>;

class EnrolUrlTest : public GatewayTest {
 protected:
  std::string tidied(const std::string& url) {
    ini.EnrolURL = url;
    std::string result = ini.tidyEnrolURL();
    EXPECT_EQ(ini.EnrolURL, url) << "it is not changed itself";
    return result;
  }

  SettingsPlaces places;
  MemoryUserDefaults defaults;
  Ini ini{defaults, places.folders()};
};

TEST_F(EnrolUrlTest, PageIsCompletedAndLowerCased) {
  EXPECT_EQ(tidied("HTTPS://Srv/TaEnrol"), "https://srv/taenrol/enrol.exe?SoftTokenMode=7200");
}

TEST_F(EnrolUrlTest, PageIsAppendedToAServer) {
  EXPECT_EQ(tidied("https://srv"), "https://srv/taenrol/enrol.exe?SoftTokenMode=7200");
  EXPECT_EQ(tidied("https://srv/"), "https://srv/taenrol/enrol.exe?SoftTokenMode=7200");
}

TEST_F(EnrolUrlTest, CompletePageIsKept) {
  EXPECT_EQ(tidied("https://srv/taenrol/"), "https://srv/taenrol/enrol.exe?SoftTokenMode=7200");
  EXPECT_EQ(tidied("https://srv:8443/a/TAENROL/"),
            "https://srv:8443/a/taenrol/enrol.exe?SoftTokenMode=7200");
}

TEST_F(EnrolUrlTest, PathThatMerelyEndsInThePageWord) {
  EXPECT_EQ(tidied("https://srv/mytaenrol"),
            "https://srv/mytaenrol/taenrol/enrol.exe?SoftTokenMode=7200");
  EXPECT_EQ(tidied("https://srv/mytaenrol/"),
            "https://srv/mytaenrol/taenrol/enrol.exe?SoftTokenMode=7200");
}

TEST_F(EnrolUrlTest, QueryStillGetsThePageAppended) {
  EXPECT_EQ(tidied("https://srv/taenrol/?a=B"),
            "https://srv/taenrol/?a=b/taenrol/enrol.exe?SoftTokenMode=7200");
  EXPECT_EQ(tidied("https://srv/?a=/"), "https://srv/?a=/taenrol/enrol.exe?SoftTokenMode=7200");
  EXPECT_EQ(tidied("https://srv/?next=taenrol"),
            "https://srv/?next=taenrol/taenrol/enrol.exe?SoftTokenMode=7200");
  EXPECT_EQ(tidied("https://srv/?next=/taenrol"),
            "https://srv/?next=/taenrol/enrol.exe?SoftTokenMode=7200");
}

TEST_F(EnrolUrlTest, TextsThatAreNoAddressesAreTreatedAlike) {
  EXPECT_EQ(tidied("taenrol"), "taenrol/taenrol/enrol.exe?SoftTokenMode=7200");
  EXPECT_EQ(tidied("/taenrol"), "/taenrol/enrol.exe?SoftTokenMode=7200");
  EXPECT_EQ(tidied("/"), "/taenrol/enrol.exe?SoftTokenMode=7200");
  EXPECT_EQ(tidied(" "), " /taenrol/enrol.exe?SoftTokenMode=7200");
  EXPECT_EQ(tidied("https://srv/taenrol "),
            "https://srv/taenrol /taenrol/enrol.exe?SoftTokenMode=7200");
}

TEST_F(EnrolUrlTest, LettersOutsideAsciiAreLowerCasedToo) {
  EXPECT_EQ(tidied("https://M\xC3\x9CNCHEN/"),  // Ü
            "https://m\xC3\xBCnchen/taenrol/enrol.exe?SoftTokenMode=7200");
}

TEST_F(EnrolUrlTest, ProtocolVersionIsTheSettings) {
  writeFile(places.home(), "ProtocolVersion=7300\nEnrolURL=https://srv\n");
  ASSERT_TRUE(ini.read());
  EXPECT_EQ(ini.tidyEnrolURL(), "https://srv/taenrol/enrol.exe?SoftTokenMode=7300");
  ini.iProtocolVersion = -1;
  EXPECT_EQ(ini.tidyEnrolURL(), "https://srv/taenrol/enrol.exe?SoftTokenMode=-1");
  ini.iProtocolVersion = INT64_MAX;
  EXPECT_EQ(ini.tidyEnrolURL(), "https://srv/taenrol/enrol.exe?SoftTokenMode=9223372036854775807");
}

TEST_F(EnrolUrlTest, AddressIsLoggedBeforeAndAfter) {
  tidied("HTTPS://Srv");
  EXPECT_EQ(gateway.lines, (Texts{"INI: TidyEnrolURL: EnrolURL in:  HTTPS://Srv",
                                  "INI: TidyEnrolURL: EnrolURL out: "
                                  "https://srv/taenrol/enrol.exe?SoftTokenMode=7200"}));
}

TEST_F(EnrolUrlTest, NoAddressGivesNone) {
  EXPECT_EQ(tidied(""), "");
}

TEST_F(EnrolUrlTest, NoAddressIsLogged) {
  tidied("");
  EXPECT_EQ(gateway.lines,
            (Texts{"INI: TidyEnrolURL: EnrolURL in:  ",
                   "INI: TidyEnrolURL:  No INI EnrolURL, trying UserDefaults...",
                   "INI: TidyEnrolURL:  not found", "INI: TidyEnrolURL: EnrolURL out: "}));
}

TEST_F(EnrolUrlTest, RememberedAddressIsLoggedButNotUsed) {
  defaults.values["EnrolURL"] = "https://Remembered/";
  EXPECT_EQ(tidied(""), "");
  EXPECT_EQ(gateway.lines, (Texts{"INI: TidyEnrolURL: EnrolURL in:  ",
                                  "INI: TidyEnrolURL:  No INI EnrolURL, trying UserDefaults...",
                                  "INI: TidyEnrolURL:  value:https://Remembered/",
                                  "INI: TidyEnrolURL: EnrolURL out: "}));
}

TEST_F(EnrolUrlTest, RememberedAddressIsNotLookedAtWhenThereIsOne) {
  defaults.values["EnrolURL"] = "https://Remembered/";
  EXPECT_EQ(tidied("https://srv/"), "https://srv/taenrol/enrol.exe?SoftTokenMode=7200");
  for (const std::string& line : gateway.lines) {
    EXPECT_EQ(line.find("Remembered"), std::string::npos) << line;
  }
}

TEST_F(EnrolUrlTest, UnreadableDefaultsDoNoHarm) {
  defaults.readable = false;
  EXPECT_EQ(tidied(""), "");
  ASSERT_GE(gateway.lines.size(), 3U);
  EXPECT_EQ(gateway.lines[2], "INI: TidyEnrolURL:  not found");
}

TEST_F(EnrolUrlTest, NobodyNeedsToListen) {
  vane::SetInterface(nullptr);
  EXPECT_EQ(tidied("https://srv"), "https://srv/taenrol/enrol.exe?SoftTokenMode=7200");
}

TEST_F(EnrolUrlTest, BracesInAnAddressAreLoggedAsTheyAre) {
  tidied("https://srv/{}%@/");
  EXPECT_EQ(gateway.lines.at(0), "INI: TidyEnrolURL: EnrolURL in:  https://srv/{}%@/");
}

}  // namespace
}  // namespace talvane::test
