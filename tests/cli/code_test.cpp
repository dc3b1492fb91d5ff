// softtoken-cli code: the passcode, and which token is meant.

#include <gtest/gtest.h>

#include "tests/cli/cli_home.h"

namespace talvane::test {
namespace {

// What `code` prints for the seed now, by another program.
std::string expected(const std::string& seed, int period, std::int64_t time) {
  return oathPasscode(seed, period, time) + '\n';
}

// Expects that `wanted` means the token with this seed and a period of 30.
void expectToken(const CliHome& home, const std::string& wanted, const std::string& seed) {
  const auto [ended, time] = inOneStep(30, [&] { return home.run({"code", "--", wanted}); });
  expectSuccess(ended);
  EXPECT_EQ(ended.out, expected(seed, 30, time)) << wanted;
}

TEST(Code, EqualsAnotherProgramsForBothPeriods) {
  const CliHome home;
  home.add("Half", seed_16, 30);
  home.add("Whole", seed_16, 60);
  home.add("Other", other_seed_16, 60);
  for (const auto& [name, seed, period] :
       {std::tuple("Half", seed_16, 30), {"Whole", seed_16, 60}, {"Other", other_seed_16, 60}}) {
    const auto [ended, time] = inOneStep(period, [&, n = name] { return home.run({"code", n}); });
    expectSuccess(ended);
    EXPECT_EQ(ended.out, expected(seed, period, time)) << name;
  }
}

TEST(Code, NextIsThatOfTheFollowingStep) {
  const CliHome home;
  home.add("Half", seed_16, 30);
  home.add("Whole", seed_16, 60);
  for (const auto& [name, period] : {std::pair("Half", 30), {"Whole", 60}}) {
    const auto [ended, time] = inOneStep(period, [&, n = name] {
      return home.run({"code", n, "--next"});
    });
    expectSuccess(ended);
    EXPECT_EQ(ended.out, expected(seed_16, period, time + period)) << name;
  }
}

TEST(Code, JsonSaysHowLongItIsValid) {
  const CliHome home;
  home.add("Half");
  home.add("Whole", seed_16, 60);
  for (const bool next : {false, true}) {
    const auto [ended, time] = inOneStep(60, [&] {
      Strings arguments = {"code", "Whole", "--json"};
      if (next) arguments.push_back("--next");
      return home.run(arguments);
    });
    expectSuccess(ended);
    const std::int64_t begin = (time / 60 + (next ? 1 : 0)) * 60;
    const nlohmann::json wanted = {
        {"slot", 1},    {"name", "Whole"},     {"passcode", oathPasscode(seed_16, 60, begin)},
        {"period", 60}, {"valid_from", begin}, {"valid_until", begin + 60}};
    EXPECT_EQ(nlohmann::json::parse(ended.out, nullptr, false), wanted);
  }
}

TEST(Code, LowerCaseSeedsAreTheSame) {
  const CliHome home;
  home.add("lower", "jbswy3dpehpk3pxp");
  expectToken(home, "lower", seed_16);
}

TEST(Code, ExactNameBeatsALongerOne) {
  const CliHome home;
  home.add("Mail box", other_seed_16);
  home.add("Mail", seed_16);
  expectToken(home, "Mail", seed_16);
}

TEST(Code, UniqueBeginningIsEnough) {
  const CliHome home;
  home.add("Mail", seed_16);
  home.add("Bank", other_seed_16);
  expectToken(home, "B", other_seed_16);
  expectToken(home, "Ma", seed_16);
}

TEST(Code, BeginningIsOfTheNameNotOfItsMiddle) {
  const CliHome home;
  home.add("Work mail");
  expectFailure(home.run({"code", "mail"}), 3, "mail");
}

TEST(Code, AmbiguousBeginningIsRefused) {
  const CliHome home;
  home.add("Mail at work");
  home.add("Mail at home");
  const Ended ended = home.run({"code", "Mail"});
  expectFailure(ended, 3, "\"Mail\" matches 2 tokens: Mail at work, Mail at home; ");
  expectFailure(ended, 3, "`softtoken-cli list`");
}

TEST(Code, SlotNumberIsTaken) {
  const CliHome home;
  home.add("Mail", seed_16);
  home.add("Bank", other_seed_16);
  expectToken(home, "0", seed_16);
  expectToken(home, "1", other_seed_16);
}

TEST(Code, TokenNamedByANumberBeatsTheSlot) {
  const CliHome home;
  home.add("1", other_seed_16);
  home.add("5", seed_16);
  home.add("Third", other_seed_16);
  expectToken(home, "5", seed_16);
  expectToken(home, "1", other_seed_16);
  expectToken(home, "2", other_seed_16);
}

TEST(Code, SlotBeatsTheBeginningOfAName) {
  const CliHome home;
  home.add("1st", other_seed_16);
  home.add("Mail", seed_16);
  expectToken(home, "1", seed_16);
  expectToken(home, "1s", other_seed_16);
}

TEST(Code, NumberBeyondTheSlotsIsABeginning) {
  const CliHome home;
  home.add("Mail", other_seed_16);
  home.add("77 Sunset", seed_16);
  expectToken(home, "77", seed_16);
}

TEST(Code, CreationNameStillFindsARenamedToken) {
  const CliHome home;
  home.add("Mail", seed_16);
  home.add("Bank", other_seed_16);
  expectSuccess(home.run({"rename", "Mail", "Post"}));
  expectToken(home, "Mail", seed_16);
  expectToken(home, "Post", seed_16);
}

TEST(Code, PresentNameBeatsACreationName) {
  const CliHome home;
  home.add("Mail", seed_16);
  home.add("Bank", other_seed_16);
  expectSuccess(home.run({"rename", "Mail", "Post"}));
  expectSuccess(home.run({"rename", "Bank", "Mail"}));
  expectToken(home, "Mail", other_seed_16);
}

TEST(Code, TwoTokensOfOneNameAreToldApartBySlot) {
  const CliHome home;
  home.add("Mail", seed_16);
  home.add("Bank", other_seed_16);
  expectSuccess(home.run({"rename", "Bank", "Mail"}));
  expectFailure(home.run({"code", "Mail"}), 3, "slot number from `softtoken-cli list`");
  expectToken(home, "1", other_seed_16);
}

TEST(Code, NamesWithHyphenBlanksAndOtherScripts) {
  const CliHome home;
  home.add("-rf", seed_16);
  home.add("  two blanks ", other_seed_16);
  home.add("Ärger 日本語", seed_16);
  expectToken(home, "-rf", seed_16);
  expectToken(home, "  two blanks ", other_seed_16);
  expectToken(home, "Ärger 日本語", seed_16);
  expectToken(home, "Ä", seed_16);
}

TEST(Code, NoSuchToken) {
  const CliHome home;
  expectFailure(home.run({"code", "Mail"}), 3, "\"Mail\"");
  home.add("Mail");
  for (const char* wanted : {"Male", "mail", "1", "32", "-1", "4294967296",
                             "99999999999999999999999999", "", "0x0", "0 "}) {
    expectFailure(home.run({"code", "--", wanted}), 3, wanted);
  }
}

TEST(Code, UnknownNameDoesNotSteerTheTerminal) {
  const CliHome home;
  home.add("Mail");
  expectFailure(home.run({"code", "\x1b[2J\nsecond line\x9b"}), 3, "second line");
}

TEST(Code, MissingTokenIsUsage) {
  const CliHome home;
  expectFailure(home.run({"code"}), 2, "token");
  expectFailure(home.run({"code", "A", "B"}), 2,
                "too many arguments; see `softtoken-cli code --help`");
}

TEST(Code, TokenBehindADamagedRecordNamesTheRecord) {
  const CliHome home;
  for (const char* name : {"A", "B", "C"}) home.add(name);
  home.damage(1);
  expectFailure(home.run({"code", "C"}), 3, "softtoken-cli delete 1");
  home.remove(1);
  expectFailure(home.run({"code", "C"}), 3, "Slot 1 is empty and hides the token after it");
  expectToken(home, "A", seed_16);
}

TEST(Code, ChangesNothingOnDisk) {
  const CliHome home;
  home.add("Mail");
  const auto before = home.files();
  expectSuccess(home.run({"code", "Mail"}));
  EXPECT_EQ(home.changedSince(before), Strings{});
}

}  // namespace
}  // namespace talvane::test
