// softtoken-cli add.

#include <gtest/gtest.h>

#include "tests/cli/cli_home.h"

namespace talvane::test {
namespace {

// RFC 4648, table 3.
std::uint32_t base32Value(char c) {
  const std::size_t place = std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZ234567").find(c);
  EXPECT_NE(place, std::string_view::npos) << c;
  return static_cast<std::uint32_t>(place);
}

// The eight characters behind "Response code: ".
std::string responseCode(const std::string& out) {
  constexpr std::string_view label = "Response code: ";
  const std::size_t begin = out.find(label);
  if (begin == std::string::npos) return {};
  return out.substr(begin + label.size(), out.find('\n', begin) - begin - label.size());
}

// Runs `add` with that name and expects that it fails, and that all is as it was before.
void expectRefused(const CliHome& home, const std::string& name, const std::string& seed,
                   int exit_code, std::string_view words) {
  const nlohmann::json before = home.list();
  expectFailure(home.run({"add", "--", name}, seed + '\n'), exit_code, words);
  EXPECT_EQ(home.list(), before) << name;
}

TEST(Add, StoresAndSaysWhere) {
  const CliHome home;
  EXPECT_EQ(home.add("Work mail"), "Stored \"Work mail\" in slot 0.\n");
  EXPECT_EQ(home.add("Bank", other_seed_16, 60), "Stored \"Bank\" in slot 1.\n");
  const nlohmann::json expected = {
      {{"slot", 0}, {"name", "Work mail"}, {"created_as", "Work mail"}, {"period", 30}},
      {{"slot", 1}, {"name", "Bank"}, {"created_as", "Bank"}, {"period", 60}}};
  EXPECT_EQ(home.list(), expected);
}

TEST(Add, IsRefusedWithoutAllowManual) {
  const CliHome home;
  for (const char* settings : {"AllowManual=no\n", "# nothing\n", "AllowManual=maybe\n"}) {
    home.setSettings(settings);
    const auto before = home.files();
    const Ended ended = home.run({"add", "Mail"}, std::string(seed_16) + '\n');
    expectFailure(ended, 1, "AllowManual");
    EXPECT_NE(ended.err.find(home.settingsFile()), std::string::npos) << ended.err;
    EXPECT_EQ(home.changedSince(before), Strings{});
  }
}

TEST(Add, SettingIsReadInAnyCase) {
  const CliHome home;
  home.setSettings("allowmanual=YES\n");
  home.add("Mail");
}

TEST(Add, SeedIsNeverTakenFromArguments) {
  const CliHome home;
  const std::string other_seed = std::string(other_seed_16) + '\n';
  expectFailure(home.run({"add", "Mail", seed_16}, other_seed), 2, "");
  expectFailure(home.run({"add", "Mail", "--seed", seed_16}, other_seed), 2, "");
  expectFailure(home.run({"add", "Mail", std::string("--seed=") + seed_16}, other_seed), 2, "");
  EXPECT_EQ(home.names(), Strings{});
}

TEST(Add, SeedGivenAsArgumentIsNotRepeated) {
  const CliHome home;
  const Ended ended = home.run({"add", "Mail", seed_16});
  expectFailure(ended, 2, "");
  EXPECT_EQ(ended.err.find(seed_16), std::string::npos) << ended.err;
}

TEST(Add, WrongSeedLengths) {
  const CliHome home;
  home.add("Present");
  for (const std::size_t length : {1U, 8U, 12U, 14U, 15U, 17U, 26U, 32U}) {
    expectRefused(home, "Mail", std::string(length, 'B'), 1, "13 or 16");
  }
}

TEST(Add, SeedThatCannotWorkIsRefusedBeforeTheNameThatIsTaken) {
  const CliHome home;
  home.add("Mail");
  expectRefused(home, "Mail", "JBSWY3DPEHPK3P", 1, "Invalid seed length; enter all 13 or 16");
  expectRefused(home, "Mail", "JBSWY3DPEHPK3PX!", 1, "Invalid character in seed");
  expectRefused(home, "Mail", other_seed_16, 1, "--replace");
}

TEST(Add, SeedIsTheFirstLineOfTheInput) {
  const CliHome home;
  for (const char* input :
       {"JBSWY3DPEHPK3PXP", "JBSWY3DPEHPK3PXP\r\n", "JBSWY3DPEHPK3PXP\nmore\n"}) {
    expectSuccess(home.run({"add", "--replace", "Mail"}, std::string_view(input)));
    const auto [ended, time] = inOneStep(30, [&] { return home.run({"code", "Mail"}); });
    EXPECT_EQ(ended.out, oathPasscode(seed_16, 30, time) + '\n');
  }
}

TEST(Add, MissingSeed) {
  const CliHome home;
  expectFailure(home.run({"add", "Mail"}), 2, "Standard input is empty");
  expectFailure(home.run({"add", "Mail"}, Streams{.input_file = Streams::closed}), 2,
                "Standard input is empty");
  expectFailure(home.run({"add", "Mail"}, "\n"), 1, "13 or 16");
  EXPECT_EQ(home.names(), Strings{});
}

TEST(Add, EndlessInputIsNotSwallowed) {
  const CliHome home;
  const std::string endless(std::size_t{48} * 1024 * 1024, 'A');
  Streams streams;
  streams.input = endless;
  RunningProcess process(home.command({"add", "Mail"}), home.environment, streams);
  const Ended ended = process.finish(std::chrono::seconds(60));
  expectFailure(ended, 1, "");
  EXPECT_LT(process.consumed(), std::size_t{4} * 1024 * 1024);
}

TEST(Add, ThirteenCharactersYieldTheResponseCode) {
  const CliHome home;
  for (const int period : {30, 60}) {
    const std::string name = "Short " + std::to_string(period);
    const auto [outputs, time] = inOneStep(period, [&] {
      const Ended added = home.run({"add", "--replace", "--period", std::to_string(period), name},
                                   std::string(seed_13) + '\n');
      return std::pair(added, home.run({"code", name}));
    });
    const auto& [added, code] = outputs;
    expectSuccess(added);
    expectSuccess(code);
    EXPECT_NE(added.out.find("administrator"), std::string::npos) << "what to do:\n" << added.out;
    const std::string response = responseCode(added.out);
    ASSERT_EQ(response.size(), 8U) << added.out;
    std::uint64_t bits = 0;
    for (const char c : response) bits = bits << 5U | base32Value(c);
    // The first 20 bits are the passcode of the completed seed.
    EXPECT_EQ(std::stoul(code.out), bits >> 20U);
    // The other 20 are its last four characters.
    const std::string completed = std::string(seed_13).substr(0, 12) + response.substr(4);
    EXPECT_EQ(code.out, oathPasscode(completed, period, time) + '\n');
  }
}

TEST(Add, SixteenCharactersHaveNoResponseCode) {
  const CliHome home;
  EXPECT_EQ(responseCode(home.add("Mail")), "");
}

TEST(Add, NameInUseIsRefused) {
  const CliHome home;
  home.add("Mail");
  expectRefused(home, "Mail", other_seed_16, 1, "--replace");
  // Also when the token has another name by now.
  expectSuccess(home.run({"rename", "Mail", "Post"}));
  expectRefused(home, "Mail", other_seed_16, 1, "Slot 0");
  const auto [ended, time] = inOneStep(30, [&] { return home.run({"code", "Mail"}); });
  EXPECT_EQ(ended.out, oathPasscode(seed_16, 30, time) + '\n');
}

TEST(Add, ReplaceTakesTheSameSlot) {
  const CliHome home;
  home.add("Mail");
  home.add("Bank");
  const Ended replaced =
      home.run({"add", "--replace", "--period", "60", "Mail"}, std::string(other_seed_16) + '\n');
  expectSuccess(replaced);
  EXPECT_EQ(home.names(), (Strings{"Mail", "Bank"}));
  EXPECT_EQ(home.list()[0]["period"], 60);
  const auto [ended, time] = inOneStep(60, [&] { return home.run({"code", "Mail"}); });
  EXPECT_EQ(ended.out, oathPasscode(other_seed_16, 60, time) + '\n');
}

TEST(Add, ReplaceOfNothingAdds) {
  const CliHome home;
  expectSuccess(home.run({"add", "--replace", "Mail"}, std::string(seed_16) + '\n'));
  EXPECT_EQ(home.names(), Strings{"Mail"});
}

TEST(Add, BarsArePutAwayPlusesBecomeBlanksEscapesAreUndone) {
  const CliHome home;
  home.add("Work|mail|");
  home.add("My+Mail");
  home.add("Caf%C3%A9%20bar");
  home.add("100%");
  home.add("50%ZZ+2");
  EXPECT_EQ(home.names(), (Strings{"Workmail", "My Mail", "Café bar", "100%", "50%ZZ 2"}));
  for (const auto& token : home.list()) EXPECT_EQ(token["name"], token["created_as"]);
}

TEST(Add, EmptyNames) {
  const CliHome home;
  home.add("Present");
  expectRefused(home, "", seed_16, 2, "name");
  expectRefused(home, "||", seed_16, 2, "name");
}

TEST(Add, NamesThatCannotBeStoredAreRefusedBeforeAnythingIsWritten) {
  const CliHome home;
  home.add("Present");
  expectRefused(home, "a%00b", seed_16, 2, "");
  expectRefused(home, "not UTF-8: \xFF\xFE", seed_16, 2, "");
  expectRefused(home, "cut off: \xE2\x82", seed_16, 2, "");
  for (const char* name : {"a\nb", "\x1b[31mred", "a\u200Bb", "a\u202Eb", "a%E2%80%8Db"}) {
    expectRefused(home, name, seed_16, 2, "are invisible");
  }
}

TEST(Add, RefusalLeavesAnUntouchedHomeAsItWas) {
  const CliHome home;
  expectFailure(home.run({"add", "Mail"}, "TOO SHORT\n"), 1, "13 or 16");
  EXPECT_FALSE(exists(home.vault())) << "a vault was made for nothing";
  EXPECT_FALSE(exists(home.choiceFile()));
}

TEST(Add, WrongPeriodIsUsage) {
  const CliHome home;
  for (const char* period : {"45", "0", "-30", "thirty", "", "30.5", "60x", "99999999999"}) {
    expectFailure(
        home.run({"add", "Mail", std::string("--period=") + period}, std::string(seed_16) + '\n'),
        2, "--period");
  }
  EXPECT_EQ(home.names(), Strings{});
}

TEST(Add, MissingNameIsUsage) {
  const CliHome home;
  expectFailure(home.run({"add"}, std::string(seed_16) + '\n'), 2, "description");
}

TEST(Add, RecordThatHidesOthersIsNotOverwritten) {
  const CliHome home;
  for (const char* name : {"A", "B", "C"}) home.add(name);
  home.damage(1);
  const auto before = home.files();
  const Ended ended = home.run({"add", "D"}, std::string(seed_16) + '\n');
  expectFailure(ended, 4, "softtoken-cli delete 1");
  EXPECT_EQ(home.changedSince(before), Strings{});
}

TEST(Add, RecordOfAnotherComputerIsNotOverwritten) {
  const CliHome home;
  home.plantForeign("A", 0);
  // Leaves the file of the lock.
  expectFailure(home.run({"add", "A"}, std::string(seed_16) + '\n'), 4, "slot 0");
  const auto before = home.files();
  constexpr const char* words =
      "now; undo that change, or delete it with `softtoken-cli delete 0` and add the token again";
  for (const Strings& options : {Strings{}, Strings{"--replace"}}) {
    for (const char* name : {"A", "B"}) {
      Strings arguments = {"add", name};
      arguments.insert(arguments.end(), options.begin(), options.end());
      expectFailure(home.run(arguments, std::string(seed_16) + '\n'), 4, words);
    }
    Strings arguments = {"import", "otpauth://totp/C?secret=JBSWY3DPEHPK3PXP"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    expectFailure(home.run(arguments), 4, words);
  }
  EXPECT_EQ(home.changedSince(before), Strings{});
  expectSuccess(home.run({"delete", "--yes", "0"}));
  home.add("B");
  EXPECT_EQ(home.names(), Strings{"B"});
}

TEST(Add, SeedIsNowhereOnDiskInPlainText) {
  const CliHome home;
  home.add("Mail");
  for (const auto& [path, content] : home.files()) {
    EXPECT_EQ(content.find(seed_16), std::string::npos) << path;
  }
}

}  // namespace
}  // namespace talvane::test
