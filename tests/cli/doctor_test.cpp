// softtoken-cli doctor.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/cli/cli_home.h"

namespace talvane::test {
namespace {

struct Examined {
  Ended ended;
  nlohmann::json findings;

  // The texts of all findings on the subject, and whether all are good.
  [[nodiscard]] std::pair<std::string, bool> on(const std::string& subject) const {
    std::string text;
    bool good = true;
    for (const auto& finding : findings) {
      if (finding.at("subject") != subject) continue;
      text += finding.at("text").get<std::string>() + '\n';
      good = good && finding.at("good").get<bool>();
    }
    return {text, good};
  }
};

Examined examine(const CliHome& home) {
  Examined result;
  result.ended = home.run({"doctor", "--json"});
  result.findings = nlohmann::json::parse(result.ended.out, nullptr, false);
  EXPECT_TRUE(result.findings.is_array()) << result.ended.out;
  return result;
}

bool has(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
}

TEST(Doctor, AllIsWell) {
  const CliHome home;
  home.add("A");
  home.add("B");
  const Examined examined = examine(home);
  expectSuccess(examined.ended);
  for (const auto& finding : examined.findings) EXPECT_TRUE(finding.at("good")) << finding;
  EXPECT_TRUE(has(examined.on("keychain").first, home.vault()));
  EXPECT_TRUE(has(examined.on("keychain").first, "unlocked"));
  EXPECT_TRUE(has(examined.on("tokens").first, "2 "));
  EXPECT_TRUE(has(examined.on("settings file").first, home.settingsFile()));
  EXPECT_TRUE(has(examined.on("device identifiers").first, "user found"));
  EXPECT_TRUE(has(examined.on("file mode").first, home.vault() + " 0600"));
  EXPECT_TRUE(has(examined.on("clock").first, "UTC"));
}

TEST(Doctor, TableSaysTheSame) {
  const CliHome home;
  home.add("A");
  const Ended ended = home.run({"doctor"});
  expectSuccess(ended);
  const Examined examined = examine(home);
  for (const auto& finding : examined.findings) {
    EXPECT_TRUE(has(ended.out, finding.at("subject").get<std::string>()));
  }
  EXPECT_FALSE(has(ended.out, "!!"));
}

TEST(Doctor, UntouchedHomeIsWellAndStaysUntouched) {
  const CliHome home;
  const auto before = home.files();
  const Examined examined = examine(home);
  expectSuccess(examined.ended);
  EXPECT_TRUE(has(examined.on("tokens").first, "0 "));
  EXPECT_EQ(home.changedSince(before), Strings{});
}

TEST(Doctor, ClockIsTheComputersOwn) {
  const CliHome home;
  const auto [examined, time] = inOneStep(60, [&] { return examine(home); });
  std::array<char, 32> minute{};
  const std::time_t now = time;
  std::strftime(minute.data(), minute.size(), "%Y-%m-%d %H:%M", std::gmtime(&now));
  EXPECT_TRUE(has(examined.on("clock").first, minute.data())) << examined.on("clock").first;
}

TEST(Doctor, NoSecretIsShown) {
  const CliHome home;
  home.add("A");
  const Ended ended = home.run({"doctor"});
  EXPECT_FALSE(has(ended.out, seed_16));
  const std::string machine = readFile("/etc/machine-id");
  if (machine.size() > 8) {
    EXPECT_FALSE(has(ended.out, machine.substr(0, machine.find('\n'))));
  }
}

TEST(Doctor, TraceThatOthersCanReadIsAFault) {
  const CliHome home;
  home.add("A");
  writeFile(home.traceFile(), "old\n");
  chmod(home.traceFile().c_str(), 0644);
  const Examined examined = examine(home);
  EXPECT_EQ(examined.ended.exit_code, 1);
  const auto [text, good] = examined.on("file mode");
  EXPECT_FALSE(good);
  EXPECT_TRUE(has(text, "chmod 600 " + home.traceFile())) << text;
  EXPECT_EQ(std::count(examined.ended.err.begin(), examined.ended.err.end(), '\n'), 1);
  EXPECT_TRUE(has(home.run({"doctor"}).out, "!! file mode"));
}

TEST(Doctor, TraceThatIsNotUsedIsAFault) {
  const CliHome home;
  home.add("A");
  ASSERT_EQ(symlink(home.path("elsewhere").c_str(), home.traceFile().c_str()), 0);
  const auto link = examine(home).on("file mode");
  EXPECT_FALSE(link.second);
  EXPECT_TRUE(has(link.first, home.traceFile() + " is a link, so it is not used; remove it"));
  if (geteuid() != 0) return;
  ASSERT_EQ(unlink(home.traceFile().c_str()), 0);
  writeFile(home.traceFile(), "");
  ASSERT_EQ(chown(home.traceFile().c_str(), 65534, 65534), 0);
  const auto foreign = examine(home).on("file mode");
  EXPECT_FALSE(foreign.second);
  EXPECT_TRUE(has(foreign.first, home.traceFile() + " belongs to another user")) << foreign.first;
}

TEST(Doctor, DamagedRecordIsAFault) {
  const CliHome home;
  home.add("A");
  home.add("B");
  home.damage(1);
  const Examined examined = examine(home);
  EXPECT_EQ(examined.ended.exit_code, 1);
  const auto [text, good] = examined.on("tokens");
  EXPECT_FALSE(good);
  EXPECT_TRUE(has(text, "1 readable")) << text;
  EXPECT_TRUE(has(text, "softtoken-cli delete 1")) << text;
}

TEST(Doctor, ForeignVaultIsAKeychainFault) {
  const CliHome home;
  home.add("A");
  writeFile(home.vault(), "this is no vault");
  const Examined examined = examine(home);
  EXPECT_EQ(examined.ended.exit_code, 4);
  const auto [text, good] = examined.on("keychain");
  EXPECT_FALSE(good);
  EXPECT_TRUE(has(text, home.vault())) << text;
  // The rest is examined all the same.
  EXPECT_FALSE(examined.on("clock").first.empty());
  EXPECT_FALSE(examined.on("device identifiers").first.empty());
}

TEST(Doctor, AbsentSecretServiceIsAKeychainFault) {
  CliHome home;
  home.keychain = "secret-service";
  const Examined examined = examine(home);
  EXPECT_EQ(examined.ended.exit_code, 4);
  EXPECT_FALSE(examined.on("keychain").second);
}

TEST(Doctor, ContradictingChoiceIsAKeychainFault) {
  CliHome home;
  home.add("A");
  home.keychain = "secret-service";
  const Examined examined = examine(home);
  EXPECT_EQ(examined.ended.exit_code, 4);
  EXPECT_FALSE(examined.on("keychain").second);
}

TEST(Doctor, MistakesInTheSettingsAreFaults) {
  const CliHome home;
  home.setSettings("AllowManual=true\nRollupSteps=99999999999\nColour=blue\nallowmanual=true");
  const Examined examined = examine(home);
  EXPECT_EQ(examined.ended.exit_code, 1);
  const auto [text, good] = examined.on("settings file");
  EXPECT_FALSE(good);
  const std::string& file = home.settingsFile();
  EXPECT_TRUE(has(text, file + ":2: RollupSteps=99999999999 does not fit")) << text;
  EXPECT_TRUE(has(text, file + ":3: Unknown key \"Colour\"")) << text;
  EXPECT_TRUE(has(text, file + ":4: AllowManual is already in line 1")) << text;
  EXPECT_TRUE(has(text, file + ":4: The file ends without a line end")) << text;
}

TEST(Doctor, AddressThatNobodyCanUseIsAFault) {
  const CliHome home;
  for (const auto& [settings, words] :
       {std::pair("EnrolURL=srv.example\n", "does not begin with https://"),
        {"EnrolURL=http://srv.example\n", "use https, or set AllowHTTP=true"}}) {
    home.setSettings(settings);
    const Examined examined = examine(home);
    EXPECT_EQ(examined.ended.exit_code, 1);
    for (const char* subject : {"settings file", "enrolment server"}) {
      const auto [text, good] = examined.on(subject);
      EXPECT_FALSE(good) << subject;
      EXPECT_TRUE(has(text, words)) << subject << ": " << text;
    }
  }
}

TEST(Doctor, SettingsThatOthersCanChangeAreAFault) {
  const CliHome home;
  chmod(home.settingsFile().c_str(), 0666);
  const auto [text, good] = examine(home).on("settings file");
  EXPECT_FALSE(good);
  EXPECT_TRUE(has(text, "Others can change " + home.settingsFile())) << text;
}

TEST(Doctor, FoldersThatOthersCanUseAreAFault) {
  const CliHome home;
  home.add("A");
  const std::string settings = home.choiceFile().substr(0, home.choiceFile().rfind('/'));
  chmod(settings.c_str(), 0755);
  const auto [text, good] = examine(home).on("file mode");
  EXPECT_FALSE(good);
  EXPECT_TRUE(has(text, settings + " 0755; others can use it, so run `chmod 700 " + settings))
      << text;
}

TEST(Doctor, VaultThatOthersCouldUseIsAFaultOnce) {
  const CliHome home;
  home.add("A");
  chmod(home.vault().c_str(), 0644);
  chmod(home.dataFolder().c_str(), 0777);
  const Examined first = examine(home);
  EXPECT_EQ(first.ended.exit_code, 1);
  const auto [text, good] = first.on("file mode");
  EXPECT_FALSE(good);
  EXPECT_TRUE(has(text, home.vault() + " 0644; others could use it")) << text;
  EXPECT_TRUE(has(text, home.dataFolder() + " 0777; others could use it")) << text;
  expectSuccess(examine(home).ended);
}

TEST(Doctor, DebugIsAFaultWhileATraceLiesThere) {
  const CliHome home;
  home.add("A");
  EXPECT_EQ(examine(home).on("trace").first, "");
  home.setSettings("AllowManual=true\nDebug=true\n");
  const auto [text, good] = examine(home).on("trace");
  EXPECT_FALSE(good);
  EXPECT_TRUE(has(text, home.traceFile())) << text;
  home.setSettings("AllowManual=true\n");
  expectSuccess(examine(home).ended);
}

TEST(Doctor, SettingsFileThatIsThereButCannotBeReadIsAFault) {
  const CliHome home;
  home.setSettings("AllowManual=true\nStrMenuAdd=\xFF\n");
  const Examined examined = examine(home);
  const auto [text, good] = examined.on("settings file");
  EXPECT_FALSE(good) << text;
  EXPECT_TRUE(has(text, home.settingsFile())) << text;
  EXPECT_EQ(examined.ended.exit_code, 1);
}

}  // namespace
}  // namespace talvane::test
