// Typed look-ups, and what reading and looking up write to the trace.

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "config/ta_settings.h"
#include "tests/config/settings_places.h"
#include "tests/config/trace_file.h"

namespace talvane::test {
namespace {

using Texts = std::vector<std::string>;

class TaSettingsLookupTest : public testing::Test {
 protected:
  /// Reads a file of that content into an empty table.
  void parse(const std::string& content) {
    settings = TaSettings(places.folders());
    writeFile(places.home(), content);
    settings.readfile(places.home());
  }

  SettingsPlaces places;
  TaSettings settings{places.folders()};
};

TEST_F(TaSettingsLookupTest, BooleanWords) {
  for (const char* word : {"1", "true", "yes", "True", "TRUE", "Yes", "YES", "yEs"}) {
    parse(std::string("key=") + word);
    EXPECT_TRUE(settings.readbool("key", false)) << word;
    EXPECT_TRUE(settings.readbool("KEY", true)) << word;
  }
  for (const char* word : {"0", "false", "no", "False", "FALSE", "No", "NO", "nO"}) {
    parse(std::string("key=") + word);
    EXPECT_FALSE(settings.readbool("key", true)) << word;
    EXPECT_FALSE(settings.readbool("KEY", false)) << word;
  }
}

TEST_F(TaSettingsLookupTest, OtherBooleanTextGivesTheDefault) {
  for (const char* word : {"on", "off", "y", "n", "t", "2", "-1", "01", "00", " yes", "yes ", "ja",
                           "\"yes\"", "truetrue"}) {
    parse(std::string("key=") + word);
    EXPECT_TRUE(settings.readbool("key", true)) << word;
    EXPECT_FALSE(settings.readbool("key", false)) << word;
  }
}

TEST_F(TaSettingsLookupTest, EmptyOrMissingBooleanGivesTheDefault) {
  parse("key=\n");
  for (const char* key : {"key", "missing"}) {
    EXPECT_TRUE(settings.readbool(key, true));
    EXPECT_FALSE(settings.readbool(key, false));
  }
}

TEST_F(TaSettingsLookupTest, IntegerIsTheLeadingOne) {
  const std::pair<const char*, std::int32_t> values[] = {{"12px", 12},
                                                         {"abc", 0},
                                                         {"0", 0},
                                                         {"-3", -3},
                                                         {"+5", 5},
                                                         {"  7", 7},
                                                         {"\t-8x", -8},
                                                         {"12 34", 12},
                                                         {"0x10", 0},
                                                         {"1e3", 1},
                                                         {"3.9", 3},
                                                         {"007", 7},
                                                         {"-", 0},
                                                         {"+", 0},
                                                         {"--5", 0},
                                                         {"- 5", 0},
                                                         {" ", 0},
                                                         {"x1", 0},
                                                         {"1,000", 1},
                                                         {"2147483647", 2147483647},
                                                         {"-2147483648", INT32_MIN}};
  for (const auto& [text, number] : values) {
    parse(std::string("key=") + text);
    EXPECT_EQ(settings.readint("KEY", 99), number) << text;
  }
}

TEST_F(TaSettingsLookupTest, IntegerIsTruncatedTo32Bits) {
  const std::pair<const char*, std::int32_t> values[] = {{"2147483648", INT32_MIN},
                                                         {"4294967295", -1},
                                                         {"4294967296", 0},
                                                         {"4294967297", 1},
                                                         {"-2147483649", INT32_MAX},
                                                         {"-4294967297", -1},
                                                         {"81985529216486895", -1985229329}};
  for (const auto& [text, number] : values) {
    parse(std::string("key=") + text);
    EXPECT_EQ(settings.readint("key", 99), number) << text;
  }
}

TEST_F(TaSettingsLookupTest, EmptyOrMissingIntegerGivesTheDefault) {
  parse("key=\n");
  EXPECT_EQ(settings.readint("key", 7), 7);
  EXPECT_EQ(settings.readint("missing", -7), -7);
}

TEST_F(TaSettingsLookupTest, StringIsReturnedAsItWasWritten) {
  parse("key= two  words \n");
  EXPECT_EQ(settings.readstr("Key", "default", true), " two  words ");
  EXPECT_EQ(settings.readstr("Key", "default", false), " two  words ");
}

TEST_F(TaSettingsLookupTest, MissingStringGivesTheDefault) {
  EXPECT_EQ(settings.readstr("key", "default", true), "default");
  EXPECT_EQ(settings.readstr("key", "default", false), "default");
}

TEST_F(TaSettingsLookupTest, EmptyStringGivesTheDefaultOnlyWhenAsked) {
  parse("key=\r\n");
  EXPECT_EQ(settings.readstr("key", "default", true), "default");
  EXPECT_EQ(settings.readstr("key", "default", false), "");
}

// The trace, to the letter.

TEST_F(TaSettingsLookupTest, ReadingIsTraced) {
  writeFile(
      places.home(),
      "\xEF\xBB\xBF# comment\r\n[section]\r\n\r\nEnrolURL=https://srv/a=b\r\n Two = {2} %@\n");
  const TraceFile trace;
  EXPECT_EQ(settings.readfile(places.home()), 1);
  EXPECT_EQ(trace.texts(), (Texts{"TaSettings:readfile: begin: " + places.home(),
                                  "TaSettings:readfile: trimmed line: 'EnrolURL=https://srv/a=b'",
                                  "TaSettings:readfile:   key:'EnrolURL' value:'https://srv/a=b'",
                                  "TaSettings:readfile: trimmed line: ' Two = {2} %@'",
                                  "TaSettings:readfile:   key:' Two ' value:' {2} %@'"}));
}

TEST_F(TaSettingsLookupTest, MalformedLineIsTracedAndNothingAfterIt) {
  writeFile(places.home(), "one=1\nmalformed\nthree=3\n");
  const TraceFile trace;
  EXPECT_EQ(settings.readfile(places.home()), 255);
  EXPECT_EQ(trace.texts(), (Texts{"TaSettings:readfile: begin: " + places.home(),
                                  "TaSettings:readfile: trimmed line: 'one=1'",
                                  "TaSettings:readfile:   key:'one' value:'1'",
                                  "TaSettings:readfile: trimmed line: 'malformed'",
                                  "TaSettings:readfile: error: '=' not found"}));
}

TEST_F(TaSettingsLookupTest, UnreadableFileIsTracedWithNumberAndWords) {
  const TraceFile trace;
  EXPECT_EQ(settings.readfile(places.home()), 0);
  EXPECT_EQ(trace.texts(), (Texts{"TaSettings:readfile: begin: " + places.home(),
                                  "TaSettings:readfile: error:[" + std::to_string(ENOENT) + "] " +
                                      std::strerror(ENOENT)}));
}

TEST_F(TaSettingsLookupTest, FileThatIsNotUtf8IsTracedAsAnError) {
  writeFile(places.home(), "key=\xFF\n");
  const TraceFile trace;
  EXPECT_EQ(settings.readfile(places.home()), 0);
  const Texts texts = trace.texts();
  ASSERT_EQ(texts.size(), 2U);
  EXPECT_TRUE(texts[1].starts_with("TaSettings:readfile: error:[")) << texts[1];
  EXPECT_GT(texts[1].size(), texts[1].find("] ") + 2) << "there are words";
}

TEST_F(TaSettingsLookupTest, EveryLocationTriedIsTraced) {
  writeFile(places.bundle(), "");
  const TraceFile trace;
  EXPECT_EQ(settings.read("tasofttoken.ini", 56), 32);
  const Texts texts = trace.texts();
  ASSERT_EQ(texts.size(), 5U);
  EXPECT_EQ(texts[0], "TaSettings:readfile: begin: " + places.home());
  EXPECT_EQ(texts[2], "TaSettings:readfile: begin: " + places.system());
  EXPECT_EQ(texts[4], "TaSettings:readfile: begin: " + places.bundle());
}

TEST_F(TaSettingsLookupTest, LocationsAfterTheFirstFileAreNotTried) {
  writeFile(places.home(), "");
  writeFile(places.system(), "");
  const TraceFile trace;
  EXPECT_EQ(settings.read("tasofttoken.ini", 56), 16);
  EXPECT_EQ(trace.texts(), Texts{"TaSettings:readfile: begin: " + places.home()});
}

TEST_F(TaSettingsLookupTest, BooleanLookUpsAreTracedWithTheKeyAsGiven) {
  parse("Yes=yes\nNo=0\nOdd=on\nEmpty=\n");
  const TraceFile trace;
  EXPECT_TRUE(settings.readbool("YES", false));
  EXPECT_FALSE(settings.readbool("no", true));
  EXPECT_TRUE(settings.readbool("Odd", true));
  EXPECT_FALSE(settings.readbool("Odd", false));
  EXPECT_TRUE(settings.readbool("Empty", true));
  EXPECT_FALSE(settings.readbool("Missing", false));
  EXPECT_EQ(trace.texts(),
            (Texts{"TaSettings:readbool:   YES -> TRUE", "TaSettings:readbool:   no -> FALSE",
                   "TaSettings:readbool:   Odd -> TRUE", "TaSettings:readbool:   Odd -> FALSE",
                   "TaSettings:readbool:   Empty using default: TRUE",
                   "TaSettings:readbool:   Missing using default: FALSE"}));
}

TEST_F(TaSettingsLookupTest, IntegerLookUpsAreTraced) {
  parse("Twelve=12px\nWord=abc\nEmpty=\n");
  const TraceFile trace;
  EXPECT_EQ(settings.readint("Twelve", 1), 12);
  EXPECT_EQ(settings.readint("Word", 1), 0);
  EXPECT_EQ(settings.readint("Empty", 7200), 7200);
  EXPECT_EQ(settings.readint("Missing", -7), -7);
  EXPECT_EQ(trace.texts(),
            (Texts{"TaSettings:readint:    Twelve -> 12", "TaSettings:readint:    Word -> 0",
                   "TaSettings:readint:    Empty using default: 7200",
                   "TaSettings:readint:    Missing using default: -7"}));
}

TEST_F(TaSettingsLookupTest, StringLookUpsAreNotTraced) {
  parse("key=value\n");
  const TraceFile trace;
  EXPECT_EQ(settings.readstr("key", "default", true), "value");
  EXPECT_EQ(settings.readstr("missing", "default", true), "default");
  EXPECT_EQ(trace.texts(), Texts{});
}

}  // namespace
}  // namespace talvane::test
