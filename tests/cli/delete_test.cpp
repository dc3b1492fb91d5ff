// softtoken-cli delete, without its question.

#include <gtest/gtest.h>

#include <regex>

#include "tests/cli/cli_home.h"

namespace talvane::test {
namespace {

CliHome& withTokens(CliHome& home, const Strings& names) {
  for (const std::string& name : names) home.add(name);
  return home;
}

TEST(Delete, MovesTheLaterOnesDown) {
  CliHome home;
  withTokens(home, {"A", "B", "C", "D", "E"});
  const Ended ended = home.run({"delete", "--yes", "B", "C"});
  expectSuccess(ended);
  EXPECT_EQ(ended.out, "Deleted \"B\".\nDeleted \"C\".\n");
  EXPECT_EQ(home.names(), (Strings{"A", "D", "E"}));
}

TEST(Delete, SlotsAreThoseOfBeforeTheCommand) {
  CliHome home;
  withTokens(home, {"A", "B", "C", "D"});
  expectSuccess(home.run({"delete", "--yes", "0", "2"}));
  EXPECT_EQ(home.names(), (Strings{"B", "D"}));
}

TEST(Delete, OneTokenNamedTwiceIsDeletedOnce) {
  CliHome home;
  withTokens(home, {"A", "B", "C"});
  const Ended ended = home.run({"delete", "--yes", "A", "0", "A"});
  expectSuccess(ended);
  EXPECT_EQ(ended.out, "Deleted \"A\".\n");
  EXPECT_EQ(home.names(), (Strings{"B", "C"}));
}

TEST(Delete, NothingIsDeletedWhenOneOfThemIsUnknown) {
  CliHome home;
  withTokens(home, {"A", "B", "Bank"});
  const auto before = home.files();
  expectFailure(home.run({"delete", "--yes", "A", "X"}), 3, "\"X\"");
  expectFailure(home.run({"delete", "--yes", "A", "3"}), 3, "\"3\"");
  expectFailure(home.run({"delete", "--yes", "A", ""}), 3, "\"\"");
  EXPECT_EQ(home.changedSince(before), Strings{});
}

TEST(Delete, AmbiguousBeginningDeletesNothing) {
  CliHome home;
  withTokens(home, {"Mail one", "Mail two"});
  expectFailure(home.run({"delete", "--yes", "Mail"}), 3, "softtoken-cli list");
  EXPECT_EQ(home.list().size(), 2U);
}

TEST(Delete, WithoutYesOnAPipeIsRefused) {
  CliHome home;
  withTokens(home, {"A"});
  const auto before = home.files();
  for (const char* input : {"", "y\n", "yes\n"}) {
    expectFailure(home.run({"delete", "A"}, std::string_view(input)), 2, "--yes");
  }
  EXPECT_EQ(home.changedSince(before), Strings{});
}

TEST(Delete, MissingTokenIsUsage) {
  const CliHome home;
  expectFailure(home.run({"delete"}), 2, "tokens");
  expectFailure(home.run({"delete", "--yes"}), 2, "tokens");
}

TEST(Delete, InAnUntouchedHomeMakesNoVault) {
  const CliHome home;
  expectFailure(home.run({"delete", "--yes", "A"}), 3, "\"A\"");
  EXPECT_FALSE(exists(home.vault())) << "a vault was made for nothing";
}

TEST(Delete, DamagedRecordGivesWayToThoseItHid) {
  CliHome home;
  withTokens(home, {"A", "B", "C", "D"});
  home.damage(1);
  const Ended ended = home.run({"delete", "--yes", "1"});
  expectSuccess(ended);
  EXPECT_NE(ended.out.find("slot 1"), std::string::npos) << ended.out;
  EXPECT_EQ(home.names(), (Strings{"A", "C", "D"}));
}

// Deletes what the program says hides others, as it says; at most a few.
void deleteAsAdvised(const CliHome& home) {
  for (int i = 0; i < 6; ++i) {
    const Ended list = home.run({"list", "--json"});
    const auto tokens = nlohmann::json::parse(list.out, nullptr, false);
    ASSERT_TRUE(tokens.is_array());
    if (list.err.empty()) return;
    std::smatch slot;
    ASSERT_TRUE(std::regex_search(list.err, slot, std::regex("`softtoken-cli delete ([0-9]+)`")))
        << list.err;
    expectSuccess(home.run({"delete", "--yes", slot[1]}));
  }
}

TEST(Delete, TokensBeforeADamagedRecord) {
  CliHome home;
  withTokens(home, {"A", "B", "C", "X", "D"});
  home.damage(3);
  expectSuccess(home.run({"delete", "--yes", "A", "B"}));
  deleteAsAdvised(home);
  EXPECT_EQ(home.names(), (Strings{"C", "D"}));
}

TEST(Delete, GapsAndDamagedRecordsTogether) {
  CliHome home;
  withTokens(home, {"A", "B", "C", "D", "E", "F"});
  home.remove(1);
  home.damage(2);
  home.remove(4);
  deleteAsAdvised(home);
  EXPECT_EQ(home.names(), (Strings{"A", "D", "F"}));
}

TEST(Delete, NamesInItsReportDoNotSteerTheTerminal) {
  const CliHome home;
  home.plant("\x1b[2Jwiped\nsecond", 0);
  const Ended ended = home.run({"delete", "--yes", "0"});
  expectSuccess(ended);
  EXPECT_EQ(std::count(ended.out.begin(), ended.out.end(), '\n'), 1);
  EXPECT_EQ(ended.out.find('\x1b'), std::string::npos);
}

TEST(Delete, WorksWhereTokensMayNotBeAdded) {
  const CliHome home;
  home.add("A");
  home.setSettings("AllowManual=no\n");
  expectSuccess(home.run({"delete", "--yes", "A"}));
  EXPECT_EQ(home.names(), Strings{});
}

}  // namespace
}  // namespace talvane::test
