// What the vault does with files that are not, or no longer, what it wrote: it says so, and touches
// nothing.

#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <map>

#include "tests/support/in_child.h"
#include "tests/vault/vault_support.h"

namespace talvane::test {
namespace {

std::map<std::string, std::string> contentOf(const std::string& folder) {
  std::map<std::string, std::string> content;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    content[entry.path().filename()] =
        entry.is_regular_file() ? readFile(entry.path()) : "(no file)";
  }
  return content;
}

// Every call fails with invalid_keychain, and every file stays as it is.
std::string expectInvalid(const VaultFolder& folder) {
  const auto before = contentOf(folder.path());
  const auto keychain = folder.open();
  EXPECT_EQ(statusOf(*keychain, "token 0"), Status::invalid_keychain);
  EXPECT_EQ(statusOf(*keychain, "token 99"), Status::invalid_keychain);
  EXPECT_EQ(keychain->find("token 0", account, nullptr), Status::invalid_keychain);
  keychain->beginReading(account);
  EXPECT_EQ(statusOf(*keychain, "token 0"), Status::invalid_keychain);
  EXPECT_EQ(statusOf(*keychain, "token 99"), Status::invalid_keychain);
  keychain->endReading();
  EXPECT_EQ(keychain->add("token 99", account, secretOf("x")), Status::invalid_keychain);
  EXPECT_EQ(keychain->replace("token 0", account, secretOf("x")), Status::invalid_keychain);
  EXPECT_EQ(keychain->remove("token 0", account), Status::invalid_keychain);
  EXPECT_EQ(keychain->beginChange(), Status::invalid_keychain);
  EXPECT_EQ(keychain->endChange(), Status::ok);
  EXPECT_EQ(keychain->describe().status, Status::invalid_keychain);
  EXPECT_EQ(contentOf(folder.path()), before);
  return keychain->message(Status::invalid_keychain);
}

TEST(VaultDamage, TextFileIsNotAVault) {
  const VaultFolder folder;
  std::filesystem::create_directory(folder.path());
  writeFile(folder.database(),
            "Dear diary, today I wrote more than a hundred characters about the "
            "weather, which was fine all day long.\n");
  EXPECT_NE(expectInvalid(folder).find("not a vault"), std::string::npos);
  EXPECT_FALSE(exists(folder.key()));
}

TEST(VaultDamage, EmptyFileIsNotAVault) {
  const VaultFolder folder;
  std::filesystem::create_directory(folder.path());
  writeFile(folder.database(), "");
  expectInvalid(folder);
}

TEST(VaultDamage, AnotherProgramsDatabaseIsNotAVault) {
  const VaultFolder folder;
  std::filesystem::create_directory(folder.path());
  Sql(folder.database())
      .run(
          "PRAGMA user_version=1; CREATE TABLE items(account, service, sealed); INSERT INTO items "
          "VALUES('amira', 'token 0', 'secret');");
  expectInvalid(folder);
}

TEST(VaultDamage, AnotherProgramsLogIsLeftAlone) {
  const VaultFolder folder;
  std::filesystem::create_directory(folder.path());
  inChild([&] {
    Sql sql(folder.database());
    sql.run("PRAGMA journal_mode=WAL; CREATE TABLE notes(text)");
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  });
  ASSERT_TRUE(exists(folder.log()));
  expectInvalid(folder);
}

TEST(VaultDamage, ALaterVersionsVaultIsLeftAlone) {
  const VaultFolder folder;
  folder.fill(1);
  Sql(folder.database()).run("PRAGMA user_version=2");
  EXPECT_NE(expectInvalid(folder).find("another version"), std::string::npos);
}

TEST(VaultDamage, FolderOrPipeInItsPlaceIsNotAVault) {
  const VaultFolder folder;
  std::filesystem::create_directories(folder.database());
  expectInvalid(folder);
  std::filesystem::remove(folder.database());
  ASSERT_EQ(mkfifo(folder.database().c_str(), 0600), 0);
  inChild([&] { expectInvalid(folder); }, 5);
}

TEST(VaultDamage, TruncatedAtAnyLength) {
  const VaultFolder folder;
  folder.fill(20);
  const std::string whole = readFile(folder.database());
  ASSERT_EQ(whole.size() % 4096, 0U);
  std::vector<std::size_t> lengths{0, 1, 15, 16, 99, 100, 101, 4095, whole.size() - 1};
  for (std::size_t length = 512; length < whole.size(); length += 512) lengths.push_back(length);
  for (const std::size_t length : lengths) {
    SCOPED_TRACE(length);
    writeFile(folder.database(), whole.substr(0, length));
    expectInvalid(folder);
    if (HasFailure()) return;
  }
  writeFile(folder.database(), whole);
  EXPECT_EQ(secretIn(*folder.open(), "token 19"), "secret 19");
}

// Bytes that nobody uses may be anything; otherwise damage is noticed. It never looks like another
// secret, nor like an item that is not there, unless the damage is to the item's very name.
TEST(VaultDamage, OverwrittenAnywhere) {
  const VaultFolder folder;
  {
    const auto keychain = folder.open();
    for (int i = 0; i < 8; ++i) {
      ASSERT_EQ(store(*keychain, "token " + std::to_string(i), std::string(700, 'a')), Status::ok);
    }
  }
  const std::string whole = readFile(folder.database());
  int noticed = 0;
  for (std::size_t at = 0; at < whole.size(); at += 64) {
    SCOPED_TRACE(at);
    std::string damaged = whole;
    for (std::size_t i = at; i < at + 64; ++i) damaged[i] = static_cast<char>(damaged[i] ^ 0x5A);
    writeFile(folder.database(), damaged);
    const auto keychain = folder.open();
    for (int i = 0; i < 8; ++i) {
      const std::string name = "token " + std::to_string(i);
      Status status{};
      const auto secret = secretIn(*keychain, name, &status);
      if (secret) {
        EXPECT_EQ(secret, std::string(700, 'a'));
        continue;
      }
      ++noticed;
      if (status == Status::item_not_found) {
        EXPECT_EQ(damaged.find(account + name), std::string::npos);
      } else {
        EXPECT_TRUE(status == Status::invalid_keychain || status == Status::cannot_decode)
            << static_cast<int>(status);
      }
    }
  }
  EXPECT_GT(noticed, 100);
}

TEST(VaultDamage, ADamagedPageHidesNoItem) {
  const VaultFolder folder;
  folder.fill(100);
  const std::string whole = readFile(folder.database());
  for (std::size_t page = 1; page < whole.size() / 4096; ++page) {
    SCOPED_TRACE(page);
    std::string damaged = whole;
    damaged.replace(page * 4096, 4096, std::string(4096, '\0'));
    writeFile(folder.database(), damaged);
    const auto keychain = folder.open();
    EXPECT_EQ(statusOf(*keychain, "token 1000"), Status::invalid_keychain);
    keychain->beginReading(account);
    EXPECT_EQ(statusOf(*keychain, "token 1000"), Status::invalid_keychain);
    keychain->endReading();
    EXPECT_EQ(keychain->add("token 1000", account, secretOf("x")), Status::invalid_keychain);
    EXPECT_EQ(readFile(folder.database()), damaged);
  }
}

TEST(VaultDamage, SwappedSecretsDoNotOpen) {
  const VaultFolder folder;
  folder.fill(3);
  Sql(folder.database())
      .run(
          "CREATE TEMP TABLE kept AS SELECT * FROM items;"
          "UPDATE items SET sealed = (SELECT sealed FROM kept WHERE service = 'token 1')"
          " WHERE service = 'token 0';"
          "UPDATE items SET sealed = (SELECT sealed FROM kept WHERE service = 'token 0')"
          " WHERE service = 'token 1';");
  const auto keychain = folder.open();
  EXPECT_EQ(statusOf(*keychain, "token 0"), Status::cannot_decode);
  EXPECT_EQ(statusOf(*keychain, "token 1"), Status::cannot_decode);
  EXPECT_EQ(secretIn(*keychain, "token 2"), "secret 2");
}

TEST(VaultDamage, ASecretMovedToAnotherAccountDoesNotOpen) {
  const VaultFolder folder;
  folder.fill(1);
  Sql(folder.database()).run("UPDATE items SET account = 'bela'");
  SecretBytes secret;
  EXPECT_EQ(folder.open()->find("token 0", "bela", &secret), Status::cannot_decode);
  EXPECT_TRUE(secret->empty());
}

TEST(VaultDamage, ServiceAndAccountDoNotRunTogether) {
  const VaultFolder folder;
  const auto keychain = folder.open();
  ASSERT_EQ(keychain->add("ab", "c", secretOf("x")), Status::ok);
  Sql(folder.database()).run("UPDATE items SET service = 'a', account = 'bc'");
  SecretBytes secret;
  EXPECT_EQ(keychain->find("a", "bc", &secret), Status::cannot_decode);
}

TEST(VaultDamage, AnAlteredSecretDoesNotOpen) {
  const auto with_byte_changed = [](const std::string& place) {
    return "substr(sealed, 1, " + place + " - 1) || CASE substr(sealed, " + place +
           ", 1) WHEN x'00' THEN x'01' ELSE x'00' END || substr(sealed, " + place + " + 1)";
  };
  // The nonce, the secret, the tag; and too short for either.
  for (const std::string& alteration :
       {with_byte_changed("1"), with_byte_changed("25"), with_byte_changed("length(sealed)"),
        std::string("substr(sealed, 1, 39)"), std::string("x''")}) {
    SCOPED_TRACE(alteration);
    const VaultFolder folder;
    folder.fill(2);
    Sql(folder.database())
        .run("UPDATE items SET sealed = CAST(" + alteration +
             " AS BLOB) WHERE service = 'token 0'");
    const auto keychain = folder.open();
    EXPECT_EQ(statusOf(*keychain, "token 0"), Status::cannot_decode);
    EXPECT_EQ(secretIn(*keychain, "token 1"), "secret 1");
    keychain->beginReading(account);
    EXPECT_EQ(statusOf(*keychain, "token 0"), Status::cannot_decode);
    keychain->endReading();
    // It is there, and can be removed.
    EXPECT_EQ(keychain->find("token 0", account, nullptr), Status::ok);
    EXPECT_EQ(keychain->remove("token 0", account), Status::ok);
    EXPECT_EQ(statusOf(*keychain, "token 0"), Status::item_not_found);
  }
}

TEST(VaultDamage, NoKeyIsMadeForItemsThatAreThere) {
  const VaultFolder folder;
  folder.fill(1);
  const std::string key = readFile(folder.key());
  std::filesystem::remove(folder.key());
  const std::string missing = expectInvalid(folder);
  EXPECT_NE(missing.find(folder.key() + " is missing"), std::string::npos) << missing;
  EXPECT_FALSE(exists(folder.key()));
  writeFile(folder.key(), key);
  EXPECT_EQ(secretIn(*folder.open(), "token 0"), "secret 0");
}

TEST(VaultDamage, AKeyOfTheWrongSizeIsNoKey) {
  const VaultFolder folder;
  folder.fill(1);
  const std::string key = readFile(folder.key());
  for (const std::string& content : {std::string(), key.substr(1), key + "x"}) {
    SCOPED_TRACE(content.size());
    writeFile(folder.key(), content);
    const std::string damaged = expectInvalid(folder);
    EXPECT_NE(damaged.find(folder.key() + " is damaged"), std::string::npos) << damaged;
  }
}

TEST(VaultDamage, AnotherVaultsKeyIsNotUsed) {
  const VaultFolder folder;
  folder.fill(1);
  const VaultFolder other;
  other.fill(1);
  std::filesystem::copy_file(other.key(), folder.key(),
                             std::filesystem::copy_options::overwrite_existing);
  const auto before = contentOf(folder.path());
  const auto keychain = folder.open();
  EXPECT_EQ(statusOf(*keychain, "token 0"), Status::invalid_keychain);
  const std::string message = keychain->message(Status::invalid_keychain);
  EXPECT_NE(message.find(folder.key() + " is not the key"), std::string::npos) << message;
  EXPECT_EQ(keychain->add("token 1", account, secretOf("x")), Status::invalid_keychain);
  EXPECT_EQ(keychain->replace("token 0", account, secretOf("x")), Status::invalid_keychain);
  EXPECT_EQ(keychain->describe().status, Status::invalid_keychain);
  EXPECT_EQ(contentOf(folder.path()), before);
}

TEST(VaultDamage, AnEmptyVaultTakesANewKey) {
  const VaultFolder folder;
  folder.fill(1);
  const auto keychain = folder.open();
  ASSERT_EQ(keychain->remove("token 0", account), Status::ok);
  std::filesystem::remove(folder.key());
  EXPECT_EQ(statusOf(*keychain, "token 0"), Status::item_not_found);
  EXPECT_FALSE(exists(folder.key()));
  ASSERT_EQ(store(*keychain, "token 0", "anew"), Status::ok);
  EXPECT_EQ(secretIn(*folder.open(), "token 0"), "anew");
}

TEST(VaultDamage, AFileThatIsNoKeyIsNotWrittenOver) {
  const VaultFolder folder;
  std::filesystem::create_directory(folder.path());
  writeFile(folder.key(), "not a key");
  const auto keychain = folder.open();
  EXPECT_EQ(statusOf(*keychain, "token"), Status::item_not_found);
  EXPECT_EQ(store(*keychain, "token", "x"), Status::invalid_keychain);
  EXPECT_EQ(readFile(folder.key()), "not a key");
}

TEST(VaultDamage, AKeyWaitingForItsVaultIsUsed) {
  const VaultFolder folder;
  std::filesystem::create_directory(folder.path());
  const std::string key(32, 'k');
  writeFile(folder.key(), key);
  ASSERT_EQ(store(*folder.open(), "token", "x"), Status::ok);
  EXPECT_EQ(secretIn(*folder.open(), "token"), "x");
  EXPECT_EQ(readFile(folder.key()), key);
}

TEST(VaultDamage, ALogWithoutItsDatabaseIsKept) {
  const VaultFolder folder;
  std::filesystem::create_directory(folder.path());
  writeFile(folder.log(), "the last changes");
  const std::string message = expectInvalid(folder);
  EXPECT_NE(message.find("is missing though"), std::string::npos) << message;
}

TEST(VaultDamage, NothingWrittenInTheDatabaseRuns) {
  const VaultFolder folder;
  folder.fill(2);
  Sql(folder.database())
      .run("CREATE TRIGGER evil AFTER INSERT ON items BEGIN DELETE FROM items; END");
  const auto keychain = folder.open();
  ASSERT_EQ(store(*keychain, "token 2", "x"), Status::ok);
  EXPECT_EQ(secretIn(*keychain, "token 0"), "secret 0");
}

}  // namespace
}  // namespace talvane::test
