// softtoken-cli move.

#include <gtest/gtest.h>

#include "tests/cli/cli_home.h"

namespace talvane::test {
namespace {

class Move : public testing::Test {
 protected:
  Move() {
    home.add("Mail", seed_16, 60);
    home.add("Bank", other_seed_16);
    home.add("Shop");
  }

  CliHome home;
};

TEST_F(Move, DownAndUp) {
  const Ended down = home.run({"move", "Mail", "2"});
  expectSuccess(down);
  EXPECT_EQ(down.out, "\"Mail\" is now in slot 2.\n");
  EXPECT_EQ(home.names(), (Strings{"Bank", "Shop", "Mail"}));
  const Ended up = home.run({"move", "1", "0"});
  expectSuccess(up);
  EXPECT_EQ(up.out, "\"Shop\" is now in slot 0.\n");
  EXPECT_EQ(home.names(), (Strings{"Shop", "Bank", "Mail"}));
}

TEST_F(Move, KeepsNamesPeriodsAndPasscodes) {
  expectSuccess(home.run({"rename", "Mail", "Post"}));
  expectSuccess(home.run({"move", "Post", "1"}));
  const nlohmann::json expected = {
      {{"slot", 0}, {"name", "Bank"}, {"created_as", "Bank"}, {"period", 30}},
      {{"slot", 1}, {"name", "Post"}, {"created_as", "Mail"}, {"period", 60}},
      {{"slot", 2}, {"name", "Shop"}, {"created_as", "Shop"}, {"period", 30}}};
  EXPECT_EQ(home.list(), expected);
  const auto [code, time] = inOneStep(60, [&] { return home.run({"code", "Post"}); });
  EXPECT_EQ(code.out, oathPasscode(seed_16, 60, time) + '\n');
}

TEST_F(Move, ToItsOwnSlotChangesNothingOnDisk) {
  const auto before = home.files();
  const Ended ended = home.run({"move", "Bank", "1"});
  expectSuccess(ended);
  EXPECT_EQ(ended.out, "\"Bank\" already is in slot 1.\n");
  EXPECT_EQ(home.changedSince(before), Strings{});
}

TEST_F(Move, SlotsWithoutAToken) {
  const auto before = home.files();
  expectFailure(home.run({"move", "Mail", "3"}), 2,
                "Slot 3 is behind the last token; give a slot from 0 to 2");
  for (const char* slot : {"32", "-1", "first", "1x", ""}) {
    expectFailure(home.run({"move", "--", "Mail", slot}), 2, "");
  }
  expectFailure(home.run({"move", "Mail"}), 2, "slot");
  EXPECT_EQ(home.changedSince(before), Strings{});
}

TEST_F(Move, UnknownToken) {
  expectFailure(home.run({"move", "Club", "0"}), 3, "\"Club\"");
}

TEST(MoveOfAll, WorksInAFullVault) {
  const CliHome home;
  for (int i = 0; i < 32; ++i) home.plant("T" + std::to_string(i), i);
  expectSuccess(home.run({"move", "T31", "0"}));
  const Strings names = home.names();
  ASSERT_EQ(names.size(), 32U);
  EXPECT_EQ(names.front(), "T31");
  EXPECT_EQ(names.back(), "T30");
}

TEST(MoveBesideDamage, RecordAfterTheTokensStays) {
  const CliHome home;
  home.add("A");
  home.add("B");
  home.add("C");
  home.damage(2);
  expectSuccess(home.run({"move", "B", "0"}));
  const Ended listed = home.run({"list", "--names"});
  EXPECT_EQ(listed.out, "B\nA\n");
  EXPECT_EQ(listed.exit_code, 4) << "the record in slot 2 is still there";
}

}  // namespace
}  // namespace talvane::test
