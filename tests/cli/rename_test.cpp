// softtoken-cli rename.

#include <gtest/gtest.h>

#include "tests/cli/cli_home.h"

namespace talvane::test {
namespace {

TEST(Rename, KeepsTheCreationNameThePeriodAndThePasscodes) {
  const CliHome home;
  home.add("Mail", seed_16, 60);
  home.add("Bank", other_seed_16);
  const Ended ended = home.run({"rename", "Mail", "Post"});
  expectSuccess(ended);
  EXPECT_EQ(ended.out, "\"Mail\" is now \"Post\".\n");
  const nlohmann::json expected = {
      {{"slot", 0}, {"name", "Post"}, {"created_as", "Mail"}, {"period", 60}},
      {{"slot", 1}, {"name", "Bank"}, {"created_as", "Bank"}, {"period", 30}}};
  EXPECT_EQ(home.list(), expected);
  const auto [code, time] = inOneStep(60, [&] { return home.run({"code", "Post"}); });
  EXPECT_EQ(code.out, oathPasscode(seed_16, 60, time) + '\n');
}

TEST(Rename, ToTheSameNameChangesNothingOnDisk) {
  const CliHome home;
  home.add("Mail");
  home.add("Bank");
  expectSuccess(home.run({"rename", "Bank", "Money"}));
  const auto before = home.files();
  expectSuccess(home.run({"rename", "Mail", "Mail"}));
  expectSuccess(home.run({"rename", "1", "Money"}));
  EXPECT_EQ(home.changedSince(before), Strings{});
}

TEST(Rename, ToBarsOnlyIsRefused) {
  const CliHome home;
  home.add("Mail");
  const auto before = home.files();
  expectFailure(home.run({"rename", "Mail", "|||"}), 2, "name");
  expectFailure(home.run({"rename", "Mail", ""}), 2, "name");
  EXPECT_EQ(home.changedSince(before), Strings{});
}

TEST(Rename, BarsArePutAwayPlusesBecomeBlanksEscapesAreUndone) {
  const CliHome home;
  home.add("Mail");
  expectSuccess(home.run({"rename", "Mail", "Home+b|ox%21"}));
  EXPECT_EQ(home.names(), Strings{"Home box!"});
}

TEST(Rename, LongName) {
  const CliHome home;
  home.add("Mail");
  const std::string name(20000, 'n');
  expectSuccess(home.run({"rename", "Mail", name}));
  EXPECT_EQ(home.names(), Strings{name});
}

TEST(Rename, UnknownAndAmbiguousTokens) {
  const CliHome home;
  expectFailure(home.run({"rename", "Mail", "Post"}), 3, "\"Mail\"");
  home.add("Mail one");
  home.add("Mail two");
  const auto before = home.files();
  expectFailure(home.run({"rename", "Mail", "Post"}), 3, "softtoken-cli list");
  expectFailure(home.run({"rename", "7", "Post"}), 3, "\"7\"");
  EXPECT_EQ(home.changedSince(before), Strings{});
}

TEST(Rename, InAnUntouchedHomeMakesNoVault) {
  const CliHome home;
  expectFailure(home.run({"rename", "Mail", "Post"}), 3, "\"Mail\"");
  EXPECT_FALSE(exists(home.vault())) << "a vault was made for nothing";
}

TEST(Rename, MissingArgumentsAreUsage) {
  const CliHome home;
  home.add("Mail");
  expectFailure(home.run({"rename"}), 2, "token");
  expectFailure(home.run({"rename", "Mail"}), 2, "name");
  expectFailure(home.run({"rename", "Mail", "My", "Post"}), 2,
                "too many arguments; see `softtoken-cli rename --help`");
  EXPECT_EQ(home.names(), Strings{"Mail"});
}

TEST(Rename, WorksWhereTokensMayNotBeAdded) {
  const CliHome home;
  home.add("Mail");
  home.setSettings("AllowManual=no\n");
  expectSuccess(home.run({"rename", "Mail", "Post"}));
  EXPECT_EQ(home.names(), Strings{"Post"});
}

}  // namespace
}  // namespace talvane::test
