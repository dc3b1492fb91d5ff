// Keychains that are absent, locked away, damaged or foreign: exit code 4, and never a change or
// another keychain.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "tests/cli/cli_home.h"

namespace talvane::test {
namespace {

// Every command that needs the keychain, with what it is fed.
const std::vector<std::pair<Strings, std::string>> all_commands = {
    {{"list"}, ""},
    {{"list", "--json"}, ""},
    {{"code", "A"}, ""},
    {{"watch"}, ""},
    {{"add", "New"}, "JBSWY3DPEHPK3PXP\n"},
    {{"add", "--replace", "A"}, "JBSWY3DPEHPK3PXP\n"},
    {{"import", "otpauth://totp/New?secret=JBSWY3DPEHPK3PXP"}, ""},
    {{"rename", "A", "New"}, ""},
    {{"delete", "--yes", "A"}, ""},
    {{"delete", "--yes", "0"}, ""},
};

void expectEveryCommandFails(const CliHome& home, std::string_view words) {
  for (const auto& [arguments, input] : all_commands) {
    SCOPED_TRACE(arguments.front());
    expectFailure(home.run(arguments, input), 4, words);
  }
}

TEST(Keychain, GarbageInThePlaceOfTheVaultIsNotTouched) {
  const CliHome home;
  home.add("A");
  const std::string garbage =
      "\x01\x02 this is no vault \xFF\xFE" + std::string(9000, '\0') + "end";
  writeFile(home.vault(), garbage);
  expectEveryCommandFails(home, home.vault());
  EXPECT_EQ(readFile(home.vault()), garbage);
  EXPECT_EQ(entriesIn(home.dataFolder()), 3U);
}

TEST(Keychain, GarbageInAHomeWithoutAChoiceIsNotTouched) {
  const CliHome home;
  std::filesystem::create_directories(home.dataFolder());
  writeFile(home.vault(), "STVAULT, not");
  expectEveryCommandFails(home, home.vault());
  EXPECT_EQ(readFile(home.vault()), "STVAULT, not");
}

TEST(Keychain, MissingKeyFileIsNotMadeAnew) {
  const CliHome home;
  home.add("A");
  const std::string key = home.dataFolder() + "/vault.key";
  const std::string kept = readFile(key);
  const std::string vault = readFile(home.vault());
  std::filesystem::remove(key);
  expectEveryCommandFails(home, key);
  EXPECT_FALSE(exists(key));
  EXPECT_EQ(readFile(home.vault()), vault);
  writeFile(key, kept);
  EXPECT_EQ(home.names(), Strings{"A"});
}

TEST(Keychain, FolderInThePlaceOfTheVault) {
  const CliHome home;
  std::filesystem::create_directories(home.vault());
  expectEveryCommandFails(home, home.vault());
}

TEST(Keychain, FileInThePlaceOfTheDataFolder) {
  const CliHome home;
  writeFile(home.dataFolder(), "a file");
  for (const auto& [arguments, input] : all_commands) {
    SCOPED_TRACE(arguments.front());
    const Ended ended = home.run(arguments, input);
    EXPECT_NE(ended.exit_code, 0);
    expectFailure(ended, ended.exit_code, home.dataFolder());
  }
  EXPECT_EQ(readFile(home.dataFolder()), "a file");
}

TEST(Keychain, RememberedSecretServiceWithoutABusIsNoReasonForAVault) {
  CliHome home;
  std::filesystem::create_directories(home.path("config/softtoken"));
  writeFile(home.choiceFile(), "[softtoken]\nKeychain=secret-service\n");
  for (const char* keychain : {"", "secret-service", "vault"}) {
    home.keychain = keychain;
    expectEveryCommandFails(home, "");
  }
  EXPECT_FALSE(exists(home.vault()));
  EXPECT_EQ(readFile(home.choiceFile()), "[softtoken]\nKeychain=secret-service\n");
}

TEST(Keychain, WishedSecretServiceWithoutABusIsNoReasonForAVault) {
  CliHome home;
  home.keychain = "secret-service";
  expectEveryCommandFails(home, "");
  EXPECT_FALSE(exists(home.vault()));
  EXPECT_FALSE(exists(home.choiceFile()));
}

TEST(Keychain, WithoutWishAndBusItIsTheVault) {
  CliHome home;
  home.keychain.clear();
  home.add("A");
  EXPECT_TRUE(exists(home.vault()));
  EXPECT_NE(readFile(home.choiceFile()).find("vault"), std::string::npos);
}

TEST(Keychain, OtherWishThanTheRememberedOneIsRefused) {
  CliHome home;
  home.add("A");
  const auto before = home.files();
  home.keychain = "secret-service";
  expectEveryCommandFails(home, "vault");
  EXPECT_EQ(home.changedSince(before), Strings{});
}

TEST(Keychain, ChoiceThatCannotBeReadIsRefused) {
  CliHome home;
  std::filesystem::create_directories(home.choiceFile());  // a folder in its place
  for (const char* keychain : {"", "vault"}) {
    home.keychain = keychain;
    expectEveryCommandFails(home, "");
  }
  EXPECT_FALSE(exists(home.vault()));
}

TEST(Keychain, UnknownWishIsUsage) {
  CliHome home;
  for (const char* keychain : {"wallet", "Vault", "memory"}) {
    home.keychain = keychain;
    expectFailure(home.run({"list"}), 2, "vault");
  }
}

// As root, a process without the right to pass over file modes.
Ended runWithoutPrivileges(const CliHome& home, const Strings& arguments, std::string_view input) {
  Strings line = home.command(arguments);
  if (geteuid() == 0) {
    line.insert(line.begin(), {"setpriv", "--bounding-set=-dac_override,-dac_read_search"});
  }
  Streams streams;
  streams.input = input;
  return runProcess(line, home.environment, streams);
}

class ReadOnlyKeychain : public testing::Test {
 protected:
  void SetUp() override {
    home.add("A");
    if (geteuid() == 0) {
      const Ended able =
          runProcess({"setpriv", "--bounding-set=-dac_override", "true"}, home.environment);
      if (able.exit_code != 0) GTEST_SKIP() << "root passes over file modes here";
    }
  }
  ~ReadOnlyKeychain() override {
    chmod(home.dataFolder().c_str(), 0700);
    chmod(home.vault().c_str(), 0600);
  }

  void expectReadable() const {
    for (const Strings& arguments : {Strings{"list"}, {"code", "A"}, {"watch"}}) {
      SCOPED_TRACE(arguments.front());
      expectSuccess(runWithoutPrivileges(home, arguments, ""));
    }
  }
  void expectUnchangeable() const {
    for (const auto& [arguments, input] : all_commands) {
      if (arguments.front() == "list" || arguments.front() == "code" ||
          arguments.front() == "watch") {
        continue;
      }
      SCOPED_TRACE(arguments.front());
      expectFailure(runWithoutPrivileges(home, arguments, input), 4, home.dataFolder());
    }
  }

  CliHome home;
};

TEST_F(ReadOnlyKeychain, Folder) {
  const auto before = home.files();
  ASSERT_EQ(chmod(home.dataFolder().c_str(), 0500), 0);
  expectReadable();
  expectUnchangeable();
  EXPECT_EQ(home.changedSince(before), Strings{});
}

TEST_F(ReadOnlyKeychain, FolderWithoutALockFile) {
  std::filesystem::remove(home.dataFolder() + "/store.lock");
  const auto before = home.files();
  ASSERT_EQ(chmod(home.dataFolder().c_str(), 0500), 0);
  expectReadable();
  expectUnchangeable();
  EXPECT_EQ(home.changedSince(before), Strings{});
}

TEST_F(ReadOnlyKeychain, File) {
  const std::string before = readFile(home.vault());
  ASSERT_EQ(chmod(home.vault().c_str(), 0400), 0);
  expectReadable();
  expectUnchangeable();
  EXPECT_EQ(readFile(home.vault()), before);
  EXPECT_EQ(modeOf(home.vault()), 0400);
  ASSERT_EQ(chmod(home.vault().c_str(), 0600), 0);
  EXPECT_EQ(home.names(), Strings{"A"});
}

TEST_F(ReadOnlyKeychain, ConfigFolderBeforeTheFirstToken) {
  const CliHome fresh;
  ASSERT_EQ(chmod(fresh.path("config").c_str(), 0500), 0);
  const Ended ended = runWithoutPrivileges(fresh, {"add", "A"}, seed_16);
  expectFailure(ended, 4, "");
  ASSERT_EQ(chmod(fresh.path("config").c_str(), 0700), 0);
  EXPECT_EQ(fresh.names(), Strings{}) << "a token whose keychain is not remembered";
}

TEST(Keychain, UnreadableVaultIsNotTakenForEmpty) {
  const CliHome home;
  home.add("A");
  ASSERT_EQ(chmod(home.vault().c_str(), 0), 0);
  const Ended ended = runWithoutPrivileges(home, {"list"}, "");
  if (ended.exit_code == 0) GTEST_SKIP() << "root passes over file modes here";
  expectFailure(ended, 4, home.vault());
}

TEST(Keychain, FilesArePrivate) {
  const CliHome home;
  const mode_t before = umask(0);
  home.add("A");
  umask(before);
  EXPECT_EQ(modeOf(home.dataFolder()), 0700);
  for (const char* name : {"vault", "vault.key", "store.lock"}) {
    EXPECT_EQ(modeOf(home.dataFolder() + '/' + name), 0600) << name;
  }
  EXPECT_EQ(modeOf(home.choiceFile()), 0600);
}

TEST(Keychain, AnotherProgramThatHoldsTheLockIsNamed) {
  const CliHome home;
  home.add("A");
  RunningProcess holder({"flock", home.dataFolder() + "/store.lock", "sleep", "60"},
                        home.environment);
  // Reading needs no lock; the lock may take a moment to be held.
  const auto before = home.files();
  Ended ended;
  for (int i = 0; i < 50; ++i) {
    ended = home.run({"rename", "A", "A"});
    if (ended.exit_code != 0) break;
  }
  expectFailure(ended, 1, "Another program");
  expectSuccess(home.run({"code", "A"}));
  EXPECT_EQ(home.changedSince(before), Strings{});
}

}  // namespace
}  // namespace talvane::test
