#include "config/read_settings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/core_dumps.h"
#include "platform/trace.h"
#include "tests/config/settings_places.h"
#include "tests/config/trace_file.h"
#include "tests/support/core_limit.h"
#include "tests/support/in_child.h"
#include "tests/support/memory_user_defaults.h"
#include "tests/support/private_home.h"

namespace talvane::test {
namespace {

using Texts = std::vector<std::string>;

const std::string dashes = "----------------------------------------------------------------";
const Texts banner{dashes, "Debug started", dashes};

class ReadSettingsTest : public testing::Test {
 protected:
  ~ReadSettingsTest() override { talibobjc_Trace::traceOn(false); }

  [[nodiscard]] std::string path() const { return places.root() + "/softtoken.txt"; }
  [[nodiscard]] Texts texts() const { return textsOf(readFile(path())); }
  void start() { readSettingsWithTrace(ini, path()); }
  void startQuietly() { readSettingsQuietly(ini, path()); }

  /// What the settings reader writes for a home file without lines to read.
  [[nodiscard]] Texts readersLines(const std::string& debug) const {
    return {"TaSettings:readfile: begin: " + places.home(),
            "TaSettings:readbool:   Debug " + debug,
            "TaSettings:readbool:   AllowManual using default: FALSE",
            "TaSettings:readbool:   AllowTaEnrol using default: TRUE",
            "TaSettings:readbool:   AllowHTTP using default: FALSE",
            "TaSettings:readbool:   CopyButton using default: TRUE",
            "TaSettings:readbool:   CloseOnCopy using default: TRUE",
            "TaSettings:readint:    RollupSteps using default: 10",
            "TaSettings:readint:    RollupInterval using default: 10",
            "TaSettings:readint:    ButtonFontSize using default: 12",
            "TaSettings:readint:    ProtocolVersion using default: 7200"};
  }

  static Texts joined(Texts first, const Texts& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
  }

  SettingsPlaces places;
  MemoryUserDefaults defaults;
  Ini ini{defaults, places.folders()};
};

TEST_F(ReadSettingsTest, BannerIs64DashesTwice) {
  EXPECT_EQ(dashes, std::string(64, '-'));
}

TEST_F(ReadSettingsTest, WithoutDebugOnlyTheReadersLinesAreTracedAtEveryStart) {
  writeFile(places.home(), "# nothing\n");
  const Texts once = readersLines("using default: FALSE");
  start();
  EXPECT_FALSE(talibobjc_Trace::isOn());
  EXPECT_EQ(texts(), once);
  talibobjc_Trace::traceNSString("lost");
  start();
  EXPECT_EQ(texts(), joined(once, once));
}

TEST_F(ReadSettingsTest, WithDebugTheBannerFollowsAndTracingStaysOn) {
  writeFile(places.home(), "Debug=yes\n");
  start();
  EXPECT_TRUE(ini.bDebug);
  EXPECT_TRUE(talibobjc_Trace::isOn());
  talibobjc_Trace::traceNSString("APP: more");
  Texts expected = readersLines("-> TRUE");
  expected.insert(expected.begin() + 1, {"TaSettings:readfile: trimmed line: 'Debug=yes'",
                                         "TaSettings:readfile:   key:'Debug' value:'yes'"});
  EXPECT_EQ(texts(), joined(joined(expected, banner), {"APP: more"}));
}

TEST_F(ReadSettingsTest, DebugInTheSystemsFileCountsWhenThereIsNoHomeFile) {
  writeFile(places.system(), "Debug=yes\n");
  start();
  EXPECT_TRUE(talibobjc_Trace::isOn());
}

TEST_F(ReadSettingsTest, DebugInTheSystemsFileHasNoEffectWhenThereIsAHomeFile) {
  writeFile(places.system(), "Debug=yes\n");
  writeFile(places.home(), "");
  start();
  EXPECT_FALSE(ini.bDebug);
  EXPECT_FALSE(talibobjc_Trace::isOn());
  EXPECT_EQ(texts(), readersLines("using default: FALSE"));
}

TEST_F(ReadSettingsTest, WithoutSettingsFileTheAttemptsAreTraced) {
  start();
  const Texts written = texts();
  ASSERT_EQ(written.size(), 6U + 10U);
  EXPECT_EQ(written[0], "TaSettings:readfile: begin: " + places.home());
  EXPECT_TRUE(written[1].starts_with("TaSettings:readfile: error:["));
  EXPECT_EQ(written[2], "TaSettings:readfile: begin: " + places.system());
  EXPECT_EQ(written[4], "TaSettings:readfile: begin: " + places.bundle());
  EXPECT_FALSE(talibobjc_Trace::isOn());
}

TEST_F(ReadSettingsTest, QuietStartTracesNothingWithoutDebug) {
  writeFile(places.home(), "StrUsername=read\n");
  startQuietly();
  EXPECT_EQ(ini.StrUsername, "read");
  EXPECT_FALSE(talibobjc_Trace::isOn());
  EXPECT_FALSE(exists(path()));
}

TEST_F(ReadSettingsTest, QuietStartTracesFromTheBannerOnWithDebug) {
  writeFile(places.home(), "Debug=1\n");
  startQuietly();
  EXPECT_TRUE(talibobjc_Trace::isOn());
  talibobjc_Trace::traceNSString("APP: more");
  EXPECT_EQ(texts(), joined(banner, {"APP: more"}));
}

TEST_F(ReadSettingsTest, QuietStartSwitchesOffWhatWasOn) {
  writeFile(places.home(), "");
  talibobjc_Trace::traceSet(path());
  talibobjc_Trace::traceOn(true);
  startQuietly();
  EXPECT_FALSE(talibobjc_Trace::isOn());
  EXPECT_FALSE(exists(path()));
}

TEST_F(ReadSettingsTest, TraceThatCannotBeWrittenDoesNotHinderTheSettings) {
  writeFile(places.home(), "StrUsername=read\nDebug=yes\n");
  readSettingsWithTrace(ini, places.root() + "/missing/softtoken.txt");
  EXPECT_EQ(ini.StrUsername, "read");
  EXPECT_TRUE(talibobjc_Trace::isOn());
}

TEST_F(ReadSettingsTest, TraceLiesInTheHome) {
  const PrivateHome home;
  EXPECT_EQ(std::string(trace_path), "~/softtoken.txt");
  writeFile(places.home(), "");
  readSettingsWithTrace(ini, trace_path);
  EXPECT_EQ(textsOf(readFile(home.home() + "/softtoken.txt")),
            readersLines("using default: FALSE"));
}

TEST_F(ReadSettingsTest, DebugAloneAllowsCoreDumps) {
  if (!WithCoreDumps::arePossible()) GTEST_SKIP() << "core dumps are forbidden here";
  for (const bool debug : {true, false}) {
    writeFile(places.home(), debug ? "Debug=1\n" : "Debug=0\n");
    for (const bool quietly : {true, false}) {
      inChild([&] {
        const WithCoreDumps some;
        forbidCoreDumps();
        quietly ? startQuietly() : start();
        EXPECT_EQ(coreLimitOf(0), debug ? WithCoreDumps::limit : 0) << quietly;
      });
    }
  }
}

}  // namespace
}  // namespace talvane::test
