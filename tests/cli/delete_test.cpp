// softtoken-cli delete, without its question.

#include <gtest/gtest.h>

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

TEST(Delete, PasscodesOfTheOthersStay) {
  const CliHome home;
  home.add("B", other_seed_16, 60);
  home.add("Short", seed_13);
  const auto [codes, time] = inOneStep(30, [&] {
    const std::string before = home.run({"code", "Short"}).out;
    expectSuccess(home.run({"add", "--replace", "A"}, seed_16));
    expectSuccess(home.run({"add", "--replace", "B"}, other_seed_16));
    expectSuccess(home.run({"delete", "B", "--yes"}));
    const Strings after = {before, home.run({"code", "Short"}).out, home.run({"code", "A"}).out};
    home.add("B", other_seed_16);
    return after;
  });
  EXPECT_EQ(codes[0].size(), 7U);
  EXPECT_EQ(codes[1], codes[0]);
  EXPECT_EQ(codes[2], oathPasscode(seed_16, 30, time) + '\n');
}

TEST(Delete, FirstLastAndAll) {
  CliHome home;
  withTokens(home, {"A", "B", "C", "D"});
  expectSuccess(home.run({"delete", "--yes", "A"}));
  EXPECT_EQ(home.names(), (Strings{"B", "C", "D"}));
  expectSuccess(home.run({"delete", "--yes", "D"}));
  EXPECT_EQ(home.names(), (Strings{"B", "C"}));
  expectSuccess(home.run({"delete", "--yes", "1", "0"}));
  EXPECT_EQ(home.names(), Strings{});
  home.add("Again");
  EXPECT_EQ(home.names(), Strings{"Again"});
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

TEST(Delete, DamagedFirstRecord) {
  CliHome home;
  withTokens(home, {"A", "B"});
  home.damage(0);
  expectSuccess(home.run({"delete", "--yes", "0"}));
  EXPECT_EQ(home.names(), Strings{"B"});
}

// Deletes what the program says hides others, as it says; at most a few.
void deleteAsAdvised(const CliHome& home) {
  for (int i = 0; i < 6; ++i) {
    const Ended list = home.run({"list", "--json"});
    const auto tokens = nlohmann::json::parse(list.out, nullptr, false);
    ASSERT_TRUE(tokens.is_array());
    if (list.err.empty()) return;
    const std::size_t slot = list.err.rfind(' ') + 1;
    const std::size_t end = list.err.rfind('`');
    ASSERT_NE(end, std::string::npos) << list.err;
    expectSuccess(home.run({"delete", "--yes", list.err.substr(slot, end - slot)}));
  }
}

TEST(Delete, SeveralDamagedRecordsGiveWayToThoseTheyHid) {
  CliHome home;
  withTokens(home, {"A", "B", "C", "D"});
  home.damage(1);
  home.damage(2);
  deleteAsAdvised(home);
  EXPECT_EQ(home.names(), (Strings{"A", "D"}));
}

TEST(Delete, NothingIsDeletedWhenADamagedRecordKeepsSomeFromBeing) {
  CliHome home;
  withTokens(home, {"A", "B", "C", "D"});
  home.damage(2);
  const auto before = home.files();
  const Ended ended = home.run({"delete", "--yes", "A", "B"});
  expectFailure(ended, 4, "could not be deleted");
  EXPECT_EQ(ended.out, "");
  EXPECT_EQ(home.changedSince(before), Strings{});
}

TEST(Delete, GapIsClosed) {
  CliHome home;
  withTokens(home, {"A", "B", "C", "D"});
  home.remove(1);
  const Ended list = home.run({"list"});
  EXPECT_NE(list.err.find("softtoken-cli delete 1"), std::string::npos) << list.err;
  deleteAsAdvised(home);
  EXPECT_EQ(home.names(), (Strings{"A", "C", "D"}));
}

TEST(Delete, GapBeforeTheFirstToken) {
  CliHome home;
  withTokens(home, {"A", "B"});
  home.remove(0);
  EXPECT_EQ(home.run({"doctor"}).exit_code, 1);
  deleteAsAdvised(home);
  EXPECT_EQ(home.names(), Strings{"B"});
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

TEST(Delete, TokenBeforeADamagedRecordLosesNoOther) {
  CliHome home;
  withTokens(home, {"A", "B", "C", "D"});
  home.damage(2);
  const Ended ended = home.run({"delete", "--yes", "A"});
  EXPECT_EQ(ended.signal, 0);
  // However that ends, B and D must still be had, D once the damaged record has gone.
  deleteAsAdvised(home);
  const Strings names = home.names();
  EXPECT_NE(std::find(names.begin(), names.end(), "B"), names.end());
  EXPECT_NE(std::find(names.begin(), names.end(), "D"), names.end());
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
