// What the vault does with files that are not, or no longer, what it wrote: it says so, and touches
// nothing.

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <map>

#include "tests/support/in_child.h"
#include "tests/vault/vault_support.h"

namespace talvane::test {
namespace {

namespace fs = std::filesystem;

std::map<std::string, std::string> contentOf(const std::string& folder) {
  std::map<std::string, std::string> content;
  for (const auto& entry : fs::directory_iterator(folder)) {
    content[entry.path().filename()] =
        entry.is_regular_file() && !entry.is_symlink() ? readFile(entry.path()) : "(no file)";
  }
  return content;
}

// Every call fails with the status, and every file stays as it is. Returns the words.
std::string expectRefused(const VaultFolder& folder, Status status) {
  const auto before = contentOf(folder.path());
  const auto keychain = folder.open();
  EXPECT_EQ(statusOf(*keychain, "token 0"), status);
  EXPECT_EQ(statusOf(*keychain, "token 99"), status);
  EXPECT_EQ(keychain->find("token 0", account, nullptr), status);
  keychain->beginReading(account);
  EXPECT_EQ(statusOf(*keychain, "token 0"), status);
  EXPECT_EQ(statusOf(*keychain, "token 99"), status);
  keychain->endReading();
  EXPECT_EQ(keychain->add("token 99", account, secretOf("x")), status);
  EXPECT_EQ(keychain->replace("token 0", account, secretOf("x")), status);
  EXPECT_EQ(keychain->remove("token 0", account), status);
  EXPECT_EQ(keychain->beginChange(), status);
  EXPECT_EQ(keychain->endChange(), Status::ok);
  EXPECT_EQ(keychain->describe().status, status);
  EXPECT_EQ(contentOf(folder.path()), before);
  return keychain->message(status);
}

std::string expectInvalid(const VaultFolder& folder) {
  return expectRefused(folder, Status::invalid_keychain);
}

// The content with each of its bits flipped in turn, and cut to each length, at `path`.
void expectEveryDamageTold(const VaultFolder& folder, const std::string& path) {
  const std::string whole = readFile(path);
  ASSERT_FALSE(whole.empty());
  for (std::size_t bit = 0; bit < 8 * whole.size(); ++bit) {
    SCOPED_TRACE("bit " + std::to_string(bit));
    std::string damaged = whole;
    damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
    writeFile(path, damaged);
    expectInvalid(folder);
    ASSERT_FALSE(testing::Test::HasFailure());
  }
  for (std::size_t length = 0; length < whole.size(); ++length) {
    SCOPED_TRACE("length " + std::to_string(length));
    writeFile(path, whole.substr(0, length));
    expectInvalid(folder);
    ASSERT_FALSE(testing::Test::HasFailure());
  }
  writeFile(path, whole + '\0');
  expectInvalid(folder);
  writeFile(path, whole);
  EXPECT_EQ(secretIn(*folder.open(), "token 0"), "secret 0");
}

TEST(VaultDamage, EveryBitAndEveryLengthOfTheVaultCounts) {
  const VaultFolder folder;
  folder.fill(1);
  expectEveryDamageTold(folder, folder.vault());
}

TEST(VaultDamage, EveryBitAndEveryLengthOfTheKeyCounts) {
  const VaultFolder folder;
  folder.fill(1);
  expectEveryDamageTold(folder, folder.key());
}

TEST(VaultDamage, AKeyThatIsCutShortSaysWhatToDo) {
  const VaultFolder folder;
  folder.fill(1);
  writeFile(folder.key(), readFile(folder.key()).substr(1));
  EXPECT_EQ(expectInvalid(folder),
            folder.key() +
                " is damaged, and the keychain cannot be opened without it; restore the "
                "file from a backup");
}

// An empty vault is one, too: its damage is not taken for a lack of tokens.
TEST(VaultDamage, EveryBitAndEveryLengthOfAnEmptyVaultCounts) {
  const VaultFolder folder;
  folder.fill(1);
  const std::string key = readFile(folder.key());
  ASSERT_EQ(folder.open()->remove("token 0", account), Status::ok);
  const std::string whole = readFile(folder.vault());
  for (std::size_t length = 0; length < whole.size(); ++length) {
    SCOPED_TRACE(length);
    writeFile(folder.vault(), whole.substr(0, length));
    expectInvalid(folder);
  }
  for (std::size_t bit = 0; bit < 8 * whole.size(); ++bit) {
    SCOPED_TRACE(bit);
    std::string damaged = whole;
    damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
    writeFile(folder.vault(), damaged);
    EXPECT_EQ(statusOf(*folder.open(), "token 0"), Status::invalid_keychain);
  }
}

TEST(VaultDamage, ALargeVaultCutOrOverwrittenAnywhere) {
  const VaultFolder folder;
  folder.fill(100);
  const std::string whole = readFile(folder.vault());
  for (std::size_t at = 0; at < whole.size(); at += 61) {
    SCOPED_TRACE(at);
    writeFile(folder.vault(), whole.substr(0, at));
    EXPECT_EQ(statusOf(*folder.open(), "token 1000"), Status::invalid_keychain);
    std::string damaged = whole;
    damaged.replace(at, 16, std::string(std::min<std::size_t>(16, whole.size() - at), '\0'));
    writeFile(folder.vault(), damaged);
    EXPECT_EQ(statusOf(*folder.open(), "token 1000"), Status::invalid_keychain);
    EXPECT_EQ(store(*folder.open(), "token 1000", "x"), Status::invalid_keychain);
    EXPECT_EQ(readFile(folder.vault()), damaged);
  }
}

TEST(VaultDamage, AnotherFileIsNotAVault) {
  const VaultFolder folder;
  fs::create_directory(folder.path());
  for (const std::string& content :
       {std::string(), std::string("STVAULT\n"), std::string(5000, '\0'),
        std::string("SQLite format 3\0", 16) + std::string(4080, 'x'),
        std::string("Dear diary, today I wrote more than a hundred characters about the weather, "
                    "which was fine all day long.\n")}) {
    SCOPED_TRACE(content);
    writeFile(folder.vault(), content);
    EXPECT_NE(expectInvalid(folder).find("not a keychain"), std::string::npos);
    EXPECT_FALSE(exists(folder.key()));
  }
}

TEST(VaultDamage, AFileBeyondReasonIsNotRead) {
  const VaultFolder folder;
  folder.fill(1);
  fs::resize_file(folder.vault(), 1ULL << 40);
  inChild(
      [&] {
        EXPECT_EQ(statusOf(*folder.open(), "token 0"), Status::invalid_keychain);
        EXPECT_EQ(store(*folder.open(), "token 1", "x"), Status::invalid_keychain);
      },
      10);
}

TEST(VaultDamage, ALaterVersionsVaultIsLeftAlone) {
  const VaultFolder folder;
  folder.fill(1);
  std::string later = readFile(folder.vault());
  later[8] = 2;
  writeFile(folder.vault(), later);
  EXPECT_NE(expectInvalid(folder).find(
                "from another version of this program, and nothing was changed; restore the file "
                "from a backup or move it away"),
            std::string::npos);
}

TEST(VaultDamage, WhatIsNoFileIsRefused) {
  for (const bool key : {false, true}) {
    SCOPED_TRACE(key);
    const VaultFolder folder;
    folder.fill(1);
    const std::string path = key ? folder.key() : folder.vault();
    const auto expectAdvice = [&] {
      const std::string words = expectInvalid(folder);
      EXPECT_TRUE(words.starts_with(path + " is ")) << words;
      EXPECT_NE(words.find("; restore "), std::string::npos) << words;
    };
    fs::remove(path);
    fs::create_directory(path);
    expectAdvice();
    fs::remove(path);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    inChild(expectAdvice, 10);
    fs::remove(path);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof address.sun_path);
    path.copy(address.sun_path, path.size());
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    expectAdvice();
    close(listener);
  }
}

TEST(VaultDamage, ALinkIsNotFollowed) {
  for (const bool key : {false, true}) {
    SCOPED_TRACE(key);
    const VaultFolder folder;
    folder.fill(1);
    const std::string path = key ? folder.key() : folder.vault();
    const std::string elsewhere = folder.base() + "/elsewhere";
    fs::rename(path, elsewhere);
    fs::create_symlink(elsewhere, path);
    const std::string before = readFile(elsewhere);
    EXPECT_NE(expectRefused(folder, Status::not_available)
                  .find("Cannot use " + path + " (it is a symbolic link, which is not followed)"),
              std::string::npos);
    EXPECT_EQ(readFile(elsewhere), before);
    EXPECT_TRUE(fs::is_symlink(path));
  }
}

TEST(VaultDamage, ALinkToNowhereIsNotTakenForNoVault) {
  const VaultFolder folder;
  fs::create_directory(folder.path());
  fs::create_symlink(folder.base() + "/nowhere", folder.vault());
  expectRefused(folder, Status::not_available);
  EXPECT_TRUE(fs::is_symlink(folder.vault()));
  EXPECT_FALSE(exists(folder.base() + "/nowhere"));
}

TEST(VaultDamage, AFolderThatIsALinkToNowhereIsNotTakenForNoVault) {
  const VaultFolder folder;
  fs::create_symlink(folder.base() + "/nowhere", folder.path());
  const auto keychain = folder.open();
  EXPECT_EQ(statusOf(*keychain, "token 0"), Status::not_available);
  EXPECT_EQ(keychain->describe().status, Status::not_available);
  EXPECT_EQ(keychain->remove("token 0", account), Status::not_available);
  EXPECT_EQ(store(*keychain, "token 0", "x"), Status::not_available);
  EXPECT_FALSE(exists(folder.base() + "/nowhere"));
}

TEST(VaultDamage, AFolderThatIsALinkIsFollowed) {
  const VaultFolder folder;
  fs::create_directory(folder.base() + "/elsewhere");
  fs::create_symlink("elsewhere", folder.path());
  folder.fill(1);
  EXPECT_EQ(secretIn(*folder.open(), "token 0"), "secret 0");
  EXPECT_EQ(modeOf(folder.base() + "/elsewhere"), 0700);
}

TEST(VaultDamage, NoKeyIsMadeForAVaultThatIsThere) {
  const VaultFolder folder;
  folder.fill(1);
  const std::string key = readFile(folder.key());
  fs::remove(folder.key());
  const std::string missing = expectInvalid(folder);
  EXPECT_NE(missing.find(folder.key() + " is missing"), std::string::npos) << missing;
  EXPECT_FALSE(exists(folder.key()));
  writeFile(folder.key(), key);
  EXPECT_EQ(secretIn(*folder.open(), "token 0"), "secret 0");
  // Nor for one without items.
  ASSERT_EQ(folder.open()->remove("token 0", account), Status::ok);
  fs::remove(folder.key());
  expectInvalid(folder);
  EXPECT_FALSE(exists(folder.key()));
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
  fs::copy_file(other.key(), folder.key(), fs::copy_options::overwrite_existing);
  const std::string message = expectInvalid(folder);
  EXPECT_NE(message.find(folder.vault()), std::string::npos) << message;
  EXPECT_NE(message.find(folder.key()), std::string::npos) << message;
}

TEST(VaultDamage, AFileThatIsNoKeyIsNotWrittenOver) {
  const VaultFolder folder;
  fs::create_directory(folder.path());
  writeFile(folder.key(), "not a key");
  const auto keychain = folder.open();
  EXPECT_EQ(statusOf(*keychain, "token"), Status::item_not_found);
  EXPECT_EQ(store(*keychain, "token", "x"), Status::invalid_keychain);
  EXPECT_EQ(readFile(folder.key()), "not a key");
  EXPECT_FALSE(exists(folder.vault()));
}

TEST(VaultDamage, AKeyWaitingForItsVaultIsUsed) {
  const VaultFolder folder;
  fs::create_directory(folder.path());
  const std::string key(32, 'k');
  writeFile(folder.key(), key);
  ASSERT_EQ(store(*folder.open(), "token", "x"), Status::ok);
  EXPECT_EQ(secretIn(*folder.open(), "token"), "x");
  EXPECT_EQ(readFile(folder.key()), key);
}

TEST(VaultDamage, WhatAKilledChangeLeftIsClearedByTheNext) {
  const VaultFolder folder;
  folder.fill(1);
  for (const char* name : {"vault.draft-aB3xYz", "vault.key.draft-000000"}) {
    writeFile(folder.path() + '/' + name, "half a");
  }
  for (const char* name : {"vault.backup", "vault.key.backup", "vault.draft"}) {
    writeFile(folder.path() + '/' + name, "the user's");
  }
  EXPECT_EQ(secretIn(*folder.open(), "token 0"), "secret 0");
  EXPECT_EQ(entriesIn(folder.path()), 7U);
  ASSERT_EQ(store(*folder.open(), "token 1", "x"), Status::ok);
  EXPECT_EQ(entriesIn(folder.path()), 5U);
  EXPECT_EQ(readFile(folder.path() + "/vault.key.backup"), "the user's");
}

}  // namespace
}  // namespace talvane::test
