// softtoken-cli list.

#include <gtest/gtest.h>

#include "tests/cli/cli_home.h"

namespace talvane::test {
namespace {

bool has(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
}

std::size_t lines(const std::string& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

TEST(List, EmptyStoreSaysHowToAddTheFirst) {
  const CliHome home;
  const Ended ended = home.run({"list"});
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_EQ(ended.out, "");
  EXPECT_TRUE(has(ended.err, "There are no tokens yet")) << ended.err;
  EXPECT_TRUE(has(ended.err, "softtoken-cli add")) << ended.err;
  EXPECT_FALSE(has(ended.err, "AllowManual")) << "it is on already:\n" << ended.err;
}

TEST(List, EmptyStoreNamesTheSettingThatForbidsToAdd) {
  const CliHome home;
  home.setSettings("AllowManual=no\n");
  const Ended ended = home.run({"list"});
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_TRUE(has(ended.err, "AllowManual=true")) << ended.err;
  EXPECT_TRUE(has(ended.err, home.settingsFile())) << ended.err;
}

TEST(List, EmptyStoreNamesWhatTheSettingsAllow) {
  const CliHome home;
  const auto hint = [&](const char* settings) {
    home.setSettings(settings);
    return home.run({"list"}).err;
  };
  const std::string both = hint("EnrolURL=https://srv\nAllowManual=1\n");
  EXPECT_LT(both.find("softtoken-cli enrol "), both.find("softtoken-cli add")) << both;
  EXPECT_FALSE(has(both, "https://")) << "the address is known:\n" << both;
  const std::string enrolment = hint("EnrolURL=https://srv\n");
  EXPECT_TRUE(has(enrolment, "softtoken-cli enrol ")) << enrolment;
  EXPECT_FALSE(has(enrolment, "softtoken-cli add")) << enrolment;
  EXPECT_FALSE(has(enrolment, "softtoken-cli import")) << enrolment;
  const std::string manual = hint("AllowManual=1\n");
  EXPECT_LT(manual.find("softtoken-cli add"), manual.find("softtoken-cli enrol https://server"))
      << manual;
  const std::string manual_alone = hint("EnrolURL=https://srv\nAllowManual=1\nAllowTaEnrol=0\n");
  EXPECT_FALSE(has(manual_alone, "enrol")) << manual_alone;
  const std::string nothing = hint("AllowTaEnrol=0\n");
  EXPECT_FALSE(has(nothing, "softtoken-cli")) << nothing;
  EXPECT_TRUE(has(nothing, "AllowManual=true")) << nothing;
}

TEST(List, NamesAreCutToTheWidthOfTheTerminal) {
  const CliHome home;
  home.add(std::string(100, 'x'));
  home.add("short");
  for (const int columns : {30, 40, 60, 80}) {
    const Ended ended =
        home.runOnTerminal({"list"}, 24, static_cast<unsigned short>(columns))->finish();
    EXPECT_EQ(ended.exit_code, 0);
    EXPECT_EQ(lines(ended.out), 3U) << ended.out;
    EXPECT_TRUE(has(ended.out, "x…")) << ended.out;
    EXPECT_TRUE(has(ended.out, "short")) << ended.out;
    std::size_t width = 0;
    for (const char c : ended.out) {
      if (c == '\n') {
        EXPECT_LE(width, static_cast<std::size_t>(columns)) << ended.out;
        width = 0;
      } else if (c != '\r' && (static_cast<unsigned char>(c) & 0xC0) != 0x80) {
        ++width;
      }
    }
  }
}

TEST(List, EmptyStoreAsJsonIsAnEmptyArray) {
  const CliHome home;
  EXPECT_EQ(home.list(), nlohmann::json::array());
}

TEST(List, LooksWithoutLeavingAnything) {
  const CliHome home;
  const auto before = home.files();
  static_cast<void>(home.list());
  EXPECT_EQ(home.changedSince(before), Strings{});
}

TEST(List, ShowsOneLineForEachTokenAndNoSecret) {
  const CliHome home;
  home.add("Work mail");
  home.add("Bank", other_seed_16, 60);
  const Ended ended = home.run({"list"});
  expectSuccess(ended);
  EXPECT_EQ(lines(ended.out), 3U) << ended.out;
  EXPECT_TRUE(has(ended.out, "Work mail")) << ended.out;
  EXPECT_TRUE(has(ended.out, "Bank")) << ended.out;
  EXPECT_TRUE(has(ended.out, "60 s")) << ended.out;
  EXPECT_FALSE(has(ended.out, seed_16));
  EXPECT_FALSE(has(ended.out, oathPasscode(seed_16, 30, std::time(nullptr))));
}

TEST(List, JsonHoldsSlotNamesAndPeriod) {
  const CliHome home;
  home.add("Work");
  home.add("Bank", other_seed_16, 60);
  expectSuccess(home.run({"rename", "Work", "Office"}));
  const nlohmann::json expected = {
      {{"slot", 0}, {"name", "Office"}, {"created_as", "Work"}, {"period", 30}},
      {{"slot", 1}, {"name", "Bank"}, {"created_as", "Bank"}, {"period", 60}}};
  EXPECT_EQ(home.list(), expected);
}

TEST(List, JsonIsValidForNamesOfAnyCharacters) {
  const CliHome home;
  const Strings names = {"\"quoted\"",   "back\\slash", "line\nend",       "\x1b[31mred",
                         "\xC3\x84rger", "日本語",      "\xF0\x9F\x94\x91"};
  std::int32_t slot = 0;
  for (const std::string& name : names) home.plant(name, slot++);
  EXPECT_EQ(home.names(), names);
}

TEST(List, JsonIsAscii) {
  const CliHome home;
  home.plant("\xC3\x84rger \xF0\x9F\x94\x91\u202E", 0);
  const Ended ended = home.run({"list", "--json"});
  expectSuccess(ended);
  EXPECT_TRUE(has(ended.out, "\\u00c4rger \\ud83d\\udd11\\u202e")) << ended.out;
  for (const char c : ended.out) EXPECT_LT(static_cast<unsigned char>(c), 0x7F);
}

TEST(List, NamesAloneAreThoseThatShowAsTheyAre) {
  const CliHome home;
  const Strings names = {"Work",      "a\u202Eb",     "it's \"me\"", "\x1b[2J",
                         "line\nend", "\xC3\x84rger", "a\u200Bb"};
  std::int32_t slot = 0;
  for (const std::string& name : names) home.plant(name, slot++);
  const Ended ended = home.run({"list", "--names"});
  expectSuccess(ended);
  EXPECT_EQ(ended.out, "Work\nit's \"me\"\n\xC3\x84rger\n");
  EXPECT_EQ(home.run({"list", "--names", "--json"}).exit_code, 2);
}

TEST(List, NamesAloneOfNoTokensAreNone) {
  const CliHome home;
  const Ended ended = home.run({"list", "--names"});
  expectSuccess(ended);
  EXPECT_EQ(ended.out, "");
}

TEST(List, NamesDoNotSteerTheTerminal) {
  const CliHome home;
  home.plant(
      "\x1b]0;title\x07\x1b[2Jwiped\rover\nline\xC2\x9B"
      "31m",
      0);
  const Ended ended = home.run({"list"});
  expectSuccess(ended);
  EXPECT_EQ(lines(ended.out), 2U);
  EXPECT_EQ(ended.out.find_first_of("\x1b\x07\r"), std::string::npos);
  EXPECT_FALSE(has(ended.out, "\xC2\x9B"));
  EXPECT_TRUE(has(ended.out, "wiped"));
}

TEST(List, NamesDoNotTurnTheDirectionOfTheLine) {
  const CliHome home;
  home.plant("a\u202Eb\u2066c", 0);
  const Ended ended = home.run({"list"});
  expectSuccess(ended);
  EXPECT_FALSE(has(ended.out, "\u202E"));
  EXPECT_FALSE(has(ended.out, "\u2066"));
  EXPECT_TRUE(has(ended.out, "a\uFFFDb\uFFFDc"));
}

TEST(List, LongNamesKeepTheColumns) {
  const CliHome home;
  home.add("short");
  home.add(std::string(5000, 'x'));
  const Ended ended = home.run({"list"});
  expectSuccess(ended);
  const std::size_t second = ended.out.find("\n   1  ") + 1;
  const std::size_t first = ended.out.find("\n   0  ") + 1;
  ASSERT_NE(first, 0U);
  ASSERT_NE(second, 0U);
  // "…" has three bytes and one column.
  EXPECT_EQ(ended.out.find("30 s", first) - first + 2, ended.out.find("30 s", second) - second);
  EXPECT_EQ(home.list()[1]["name"], std::string(5000, 'x'));
}

TEST(List, TellsOfADamagedRecordAndShowsTheTokensBeforeIt) {
  const CliHome home;
  for (const char* name : {"A", "B", "C"}) home.add(name);
  home.damage(1);
  for (const bool as_json : {false, true}) {
    const Ended ended = as_json ? home.run({"list", "--json"}) : home.run({"list"});
    EXPECT_TRUE(has(ended.out, "A"));
    EXPECT_FALSE(has(ended.out, "\"C\""));
    EXPECT_TRUE(has(ended.err, "slot 1")) << ended.err;
    EXPECT_TRUE(has(ended.err, "softtoken-cli delete 1")) << ended.err;
    EXPECT_EQ(lines(ended.err), 1U);
    if (as_json) {
      EXPECT_EQ(nlohmann::json::parse(ended.out, nullptr, false).size(), 1U);
    }
  }
}

TEST(List, IsReadBackByAnotherProcess) {
  const CliHome home;
  home.add("Work");
  EXPECT_EQ(home.names(), Strings{"Work"});
  EXPECT_EQ(home.names(), Strings{"Work"});
}

TEST(List, RemembersTheKeychainOfTheFirstToken) {
  CliHome home;
  home.add("Work");
  home.keychain.clear();
  EXPECT_EQ(home.names(), Strings{"Work"});
  home.add("Bank");
  EXPECT_EQ(home.names(), (Strings{"Work", "Bank"}));
}

}  // namespace
}  // namespace talvane::test
