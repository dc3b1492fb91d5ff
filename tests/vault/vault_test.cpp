#include <sys/stat.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <set>

#include "platform/vaneinterface.h"
#include "tests/platform/fake_device_identifiers.h"
#include "tests/support/in_child.h"
#include "tests/vault/vault_support.h"

namespace talvane::test {
namespace {

TEST(Vault, AddsFindsReplacesAndRemoves) {
  const VaultFolder folder;
  const auto keychain = folder.open();
  ASSERT_EQ(keychain->add("token", account, secretOf("first")), Status::ok);
  EXPECT_EQ(secretIn(*keychain, "token"), "first");
  ASSERT_EQ(keychain->replace("token", account, secretOf("second")), Status::ok);
  EXPECT_EQ(secretIn(*keychain, "token"), "second");
  ASSERT_EQ(keychain->remove("token", account), Status::ok);
  EXPECT_EQ(statusOf(*keychain, "token"), Status::item_not_found);
}

TEST(Vault, KeepsItemsForTheNextStart) {
  const VaultFolder folder;
  folder.fill(32);
  const auto keychain = folder.open();
  for (int i = 0; i < 32; ++i) {
    EXPECT_EQ(secretIn(*keychain, "token " + std::to_string(i)), "secret " + std::to_string(i));
  }
  EXPECT_EQ(statusOf(*keychain, "token 32"), Status::item_not_found);
}

TEST(Vault, KeepsTheFingerprintsOfARecordForTheNextStart) {
  const VaultFolder folder;
  FakeDeviceIdentifiers identifiers;
  const std::string slot = "TalvaneSoftToken5020";
  const Record record{{"desc", std::string("Mail")}, {"seed32", Bytes{7, 0, 7}}};
  {
    const auto keychain = folder.open();
    ASSERT_TRUE(vaneinterface(*keychain, identifiers).KeyChainSave(slot, record));
  }
  const auto keychain = folder.open();
  Record read;
  ASSERT_TRUE(vaneinterface(*keychain, identifiers).KeyChainLoad(slot, &read));
  Record expected = record;
  expected["fpsn"] = std::string("0123456789abcdef");
  expected["fphd"] = std::string("A0B1C2D3-0000-4000-8000-00000000FFFF");
  expected["fpus"] = std::string("ada and more");
  EXPECT_EQ(read, expected);
}

TEST(Vault, TellsMissingAndDuplicateItemsApart) {
  const VaultFolder folder;
  folder.fill(1);
  const auto keychain = folder.open();
  EXPECT_EQ(keychain->add("token 0", account, secretOf("other")), Status::duplicate_item);
  EXPECT_EQ(secretIn(*keychain, "token 0"), "secret 0");
  EXPECT_EQ(keychain->replace("token 1", account, secretOf("x")), Status::item_not_found);
  EXPECT_EQ(keychain->remove("token 1", account), Status::item_not_found);
  EXPECT_EQ(statusOf(*keychain, "token 1"), Status::item_not_found);
}

TEST(Vault, LeavesTheSecretAloneOnFailure) {
  const VaultFolder folder;
  folder.fill(1);
  SecretBytes secret = secretOf("before");
  EXPECT_EQ(folder.open()->find("token 1", account, &secret), Status::item_not_found);
  EXPECT_EQ(secret.get(), secretOf("before").get());
}

TEST(Vault, FindsWithoutWantingTheSecret) {
  const VaultFolder folder;
  folder.fill(1);
  EXPECT_EQ(folder.open()->find("token 0", account, nullptr), Status::ok);
  EXPECT_EQ(folder.open()->find("token 1", account, nullptr), Status::item_not_found);
}

TEST(Vault, KeepsAccountsApart) {
  const VaultFolder folder;
  const auto keychain = folder.open();
  ASSERT_EQ(keychain->add("token", "amira", secretOf("hers")), Status::ok);
  ASSERT_EQ(keychain->add("token", "bela", secretOf("his")), Status::ok);
  SecretBytes secret;
  ASSERT_EQ(keychain->find("token", "bela", &secret), Status::ok);
  EXPECT_EQ(secret.get(), secretOf("his").get());
  EXPECT_EQ(keychain->find("token", "cem", &secret), Status::item_not_found);
  ASSERT_EQ(keychain->remove("token", "bela"), Status::ok);
  EXPECT_EQ(secretIn(*keychain, "token"), "hers");
}

TEST(Vault, TakesAnyNamesAndSecrets) {
  const VaultFolder folder;
  const auto keychain = folder.open();
  const std::string with_nul("a\0b", 3);
  const std::string million(1024 * 1024, 'x');
  ASSERT_EQ(keychain->add(with_nul, account, secretOf("nul")), Status::ok);
  ASSERT_EQ(keychain->add("a", account, secretOf("")), Status::ok);
  ASSERT_EQ(keychain->add("", account, secretOf("no name")), Status::ok);
  ASSERT_EQ(keychain->add("\xFF'\"%", account, secretOf(with_nul)), Status::ok);
  ASSERT_EQ(keychain->add("large", account, secretOf(million)), Status::ok);
  EXPECT_EQ(secretIn(*keychain, with_nul), "nul");
  EXPECT_EQ(secretIn(*keychain, "a"), "");
  EXPECT_EQ(secretIn(*keychain, ""), "no name");
  EXPECT_EQ(secretIn(*keychain, "\xFF'\"%"), with_nul);
  EXPECT_EQ(secretIn(*keychain, "large"), million);
}

TEST(Vault, RefusesASecretBeyondReason) {
  const VaultFolder folder;
  folder.fill(1);
  const auto keychain = folder.open();
  const std::string too_large(17 * 1024 * 1024, 'x');
  EXPECT_EQ(keychain->replace("token 0", account, secretOf(too_large)), Status::io_error);
  EXPECT_NE(keychain->message(Status::io_error).find("too large"), std::string::npos);
  EXPECT_EQ(secretIn(*keychain, "token 0"), "secret 0");
}

TEST(Vault, WorksInAFolderOfAnyName) {
  const TemporaryFolder base;
  for (const char* name : {"a b", "50%25", "what?x=1", "#1", "caf\xC3\xA9", "'\"", "file:x"}) {
    const auto keychain = makeVaultKeychain(base / name);
    ASSERT_EQ(store(*keychain, "token", name), Status::ok) << name;
    EXPECT_EQ(secretIn(*keychain, "token"), name);
    EXPECT_TRUE(exists(base / name + "/vault")) << name;
  }
}

TEST(Vault, DoesNotStoreTheSecretInTheClear) {
  const VaultFolder folder;
  ASSERT_EQ(store(*folder.open(), "token", "the well known secret"), Status::ok);
  EXPECT_EQ(readFile(folder.vault()).find("well known"), std::string::npos);
  EXPECT_EQ(readFile(folder.key()).size(), 32U);
}

TEST(Vault, ReadingCreatesNothing) {
  const VaultFolder folder;
  const auto keychain = folder.open();
  EXPECT_EQ(statusOf(*keychain, "token"), Status::item_not_found);
  keychain->beginReading(account);
  EXPECT_EQ(statusOf(*keychain, "token"), Status::item_not_found);
  keychain->endReading();
  EXPECT_EQ(keychain->replace("token", account, secretOf("x")), Status::item_not_found);
  EXPECT_EQ(keychain->remove("token", account), Status::item_not_found);
  EXPECT_EQ(keychain->describe().status, Status::ok);
  EXPECT_FALSE(exists(folder.path()));
}

TEST(Vault, ReadingWritesNothing) {
  const VaultFolder folder;
  folder.fill(3);
  // A file that comes, even if it goes again, gives the folder a new time.
  const auto long_ago = std::filesystem::file_time_type::clock::now() - std::chrono::hours(24);
  std::filesystem::last_write_time(folder.path(), long_ago);
  const auto before = std::filesystem::last_write_time(folder.path());
  const auto keychain = folder.open();
  EXPECT_EQ(secretIn(*keychain, "token 1"), "secret 1");
  EXPECT_EQ(statusOf(*keychain, "token 9"), Status::item_not_found);
  keychain->beginReading(account);
  EXPECT_EQ(secretIn(*keychain, "token 2"), "secret 2");
  keychain->endReading();
  EXPECT_EQ(keychain->describe().status, Status::ok);
  EXPECT_EQ(std::filesystem::last_write_time(folder.path()), before);
  EXPECT_EQ(entriesIn(folder.path()), 2U);
}

TEST(Vault, AChangeThatChangesNothingWritesNothing) {
  const VaultFolder folder;
  folder.fill(2);
  const std::string before = readFile(folder.vault());
  const auto keychain = folder.open();
  ASSERT_EQ(keychain->beginChange(), Status::ok);
  EXPECT_EQ(keychain->endChange(), Status::ok);
  EXPECT_EQ(store(*keychain, "token 0", "secret 0"), Status::ok);
  ASSERT_EQ(keychain->beginChange(), Status::ok);
  ASSERT_EQ(keychain->add("token 2", account, secretOf("x")), Status::ok);
  ASSERT_EQ(keychain->remove("token 2", account), Status::ok);
  ASSERT_EQ(keychain->remove("token 0", account), Status::ok);
  ASSERT_EQ(keychain->add("token 0", account, secretOf("secret 0")), Status::ok);
  EXPECT_EQ(keychain->endChange(), Status::ok);
  // Each seal has a nonce of its own.
  EXPECT_EQ(readFile(folder.vault()), before);
}

TEST(Vault, AChangeThatChangesNothingMakesNoVault) {
  const VaultFolder folder;
  const auto keychain = folder.open();
  ASSERT_EQ(keychain->beginChange(), Status::ok);
  EXPECT_EQ(keychain->remove("token", account), Status::item_not_found);
  EXPECT_EQ(keychain->endChange(), Status::ok);
  EXPECT_EQ(entriesIn(folder.path()), 0U);
}

TEST(Vault, FilesArePrivateWhateverTheUmask) {
  for (const mode_t mask : {mode_t{0}, mode_t{022}, mode_t{0277}}) {
    const VaultFolder folder;
    const mode_t before = umask(mask);
    EXPECT_EQ(store(*folder.open(), "token", "x"), Status::ok);
    umask(before);
    EXPECT_EQ(modeOf(folder.vault()), 0600);
    EXPECT_EQ(modeOf(folder.key()), 0600);
    EXPECT_EQ(modeOf(folder.path()), 0700);
    EXPECT_EQ(entriesIn(folder.path()), 2U);
  }
}

TEST(Vault, CreatesTheFoldersAboveToo) {
  const TemporaryFolder base;
  const std::string folder = base / "share/softtoken";
  EXPECT_EQ(store(*makeVaultKeychain(folder), "token", "x"), Status::ok);
  EXPECT_EQ(secretIn(*makeVaultKeychain(folder + "/"), "token"), "x");
  EXPECT_EQ(modeOf(base / "share"), 0700);
  EXPECT_EQ(modeOf(folder), 0700);
}

TEST(Vault, TightensModesThatAreTooWide) {
  const VaultFolder folder;
  folder.fill(1);
  ASSERT_EQ(chmod(folder.vault().c_str(), 0666), 0);
  ASSERT_EQ(chmod(folder.key().c_str(), 0755), 0);
  ASSERT_EQ(chmod(folder.path().c_str(), 0777), 0);
  EXPECT_EQ(secretIn(*folder.open(), "token 0"), "secret 0");
  EXPECT_EQ(modeOf(folder.vault()), 0600);
  EXPECT_EQ(modeOf(folder.key()), 0600);
  EXPECT_EQ(modeOf(folder.path()), 0700);
  ASSERT_EQ(chmod(folder.key().c_str(), 0444), 0);
  EXPECT_EQ(secretIn(*folder.open(), "token 0"), "secret 0");
  EXPECT_EQ(modeOf(folder.key()), 0400);
}

TEST(Vault, ReadingSeesOwnChangesInBetween) {
  const VaultFolder folder;
  folder.fill(2);
  const auto keychain = folder.open();
  keychain->beginReading(account);
  EXPECT_EQ(secretIn(*keychain, "token 0"), "secret 0");
  ASSERT_EQ(store(*keychain, "token 0", "newer"), Status::ok);
  EXPECT_EQ(secretIn(*keychain, "token 0"), "newer");
  ASSERT_EQ(keychain->remove("token 1", account), Status::ok);
  EXPECT_EQ(statusOf(*keychain, "token 1"), Status::item_not_found);
  ASSERT_EQ(store(*keychain, "token 5", "added"), Status::ok);
  EXPECT_EQ(secretIn(*keychain, "token 5"), "added");
  keychain->endReading();
  EXPECT_EQ(secretIn(*keychain, "token 5"), "added");
}

TEST(Vault, ReadingIsOneLook) {
  const VaultFolder folder;
  folder.fill(2);
  const auto keychain = folder.open();
  keychain->beginReading(account);
  EXPECT_EQ(secretIn(*keychain, "token 0"), "secret 0");
  inChild([&] { EXPECT_EQ(store(*folder.open(), "token 1", "theirs"), Status::ok); });
  EXPECT_EQ(secretIn(*keychain, "token 1"), "secret 1");
  keychain->endReading();
  EXPECT_EQ(secretIn(*keychain, "token 1"), "theirs");
  keychain->beginReading(account);
  EXPECT_EQ(secretIn(*keychain, "token 1"), "theirs");
  keychain->endReading();
}

TEST(Vault, ReadingServesOtherAccountsToo) {
  const VaultFolder folder;
  const auto keychain = folder.open();
  ASSERT_EQ(keychain->add("token", "bela", secretOf("his")), Status::ok);
  keychain->beginReading(account);
  SecretBytes secret;
  EXPECT_EQ(keychain->find("token", "bela", &secret), Status::ok);
  EXPECT_EQ(statusOf(*keychain, "token"), Status::item_not_found);
  keychain->endReading();
}

TEST(Vault, ChangesTogetherAreKeptTogether) {
  const VaultFolder folder;
  folder.fill(2);
  const auto keychain = folder.open();
  ASSERT_EQ(keychain->beginChange(), Status::ok);
  ASSERT_EQ(store(*keychain, "token 0", "newer"), Status::ok);
  EXPECT_EQ(keychain->add("token 1", account, secretOf("x")), Status::duplicate_item);
  EXPECT_EQ(keychain->remove("token 7", account), Status::item_not_found);
  ASSERT_EQ(keychain->remove("token 1", account), Status::ok);
  EXPECT_EQ(secretIn(*keychain, "token 0"), "newer");
  EXPECT_EQ(statusOf(*keychain, "token 1"), Status::item_not_found);
  // Others see none of it yet.
  EXPECT_EQ(secretIn(*folder.open(), "token 0"), "secret 0");
  inChild([&] { EXPECT_EQ(secretIn(*folder.open(), "token 1"), "secret 1"); });
  ASSERT_EQ(keychain->endChange(), Status::ok);
  EXPECT_EQ(secretIn(*folder.open(), "token 0"), "newer");
  EXPECT_EQ(statusOf(*folder.open(), "token 1"), Status::item_not_found);
}

TEST(Vault, ChangesTogetherAreUndoneWithoutAnEnd) {
  const VaultFolder folder;
  folder.fill(1);
  {
    const auto keychain = folder.open();
    ASSERT_EQ(keychain->beginChange(), Status::ok);
    ASSERT_EQ(store(*keychain, "token 0", "newer"), Status::ok);
    ASSERT_EQ(store(*keychain, "token 1", "added"), Status::ok);
  }
  EXPECT_EQ(secretIn(*folder.open(), "token 0"), "secret 0");
  EXPECT_EQ(statusOf(*folder.open(), "token 1"), Status::item_not_found);
}

TEST(Vault, AChangeThatIsAbandonedIsUndone) {
  const VaultFolder folder;
  folder.fill(1);
  const auto keychain = folder.open();
  ASSERT_EQ(keychain->beginChange(), Status::ok);
  ASSERT_EQ(store(*keychain, "token 0", "newer"), Status::ok);
  ASSERT_EQ(store(*keychain, "token 1", "added"), Status::ok);
  keychain->abandonChange();
  EXPECT_EQ(secretIn(*keychain, "token 0"), "secret 0");
  EXPECT_EQ(statusOf(*folder.open(), "token 1"), Status::item_not_found);
  // The next change is one of its own.
  ASSERT_EQ(keychain->beginChange(), Status::ok);
  ASSERT_EQ(store(*keychain, "token 0", "newest"), Status::ok);
  ASSERT_EQ(keychain->endChange(), Status::ok);
  EXPECT_EQ(secretIn(*folder.open(), "token 0"), "newest");
}

TEST(Vault, AChangeThatIsTooLargeIsUndoneAsAWhole) {
  const VaultFolder folder;
  folder.fill(1);
  const auto keychain = folder.open();
  ASSERT_EQ(keychain->beginChange(), Status::ok);
  ASSERT_EQ(store(*keychain, "token 0", "newer"), Status::ok);
  EXPECT_EQ(store(*keychain, "token 1", std::string(9 * 1024 * 1024, 'x')), Status::ok);
  EXPECT_EQ(store(*keychain, "token 2", std::string(9 * 1024 * 1024, 'x')), Status::ok);
  EXPECT_EQ(keychain->endChange(), Status::io_error);
  EXPECT_NE(keychain->message(Status::io_error).find("too large"), std::string::npos);
  EXPECT_EQ(secretIn(*keychain, "token 0"), "secret 0");
  EXPECT_EQ(statusOf(*keychain, "token 1"), Status::item_not_found);
}

TEST(Vault, ChangesDoNotNest) {
  const VaultFolder folder;
  const auto keychain = folder.open();
  ASSERT_EQ(keychain->beginChange(), Status::ok);
  EXPECT_EQ(keychain->beginChange(), Status::io_error);
  ASSERT_EQ(store(*keychain, "token", "x"), Status::ok);
  ASSERT_EQ(keychain->endChange(), Status::ok);
  EXPECT_EQ(keychain->endChange(), Status::ok);
  EXPECT_EQ(secretIn(*keychain, "token"), "x");
}

TEST(Vault, EveryStatusHasWordsOfItsOwn) {
  const VaultFolder folder;
  const auto keychain = folder.open();
  std::set<std::string> messages;
  const std::array statuses{Status::ok,
                            Status::disk_full,
                            Status::io_error,
                            Status::write_permission,
                            Status::not_available,
                            Status::no_default_keychain,
                            Status::interaction_not_allowed,
                            Status::duplicate_item,
                            Status::item_not_found,
                            Status::cannot_decode,
                            Status::invalid_keychain,
                            Status::not_responding};
  for (const Status status : statuses) {
    const std::string message = keychain->message(status);
    EXPECT_NE(message.find(folder.vault()), std::string::npos) << message;
    EXPECT_NE(message.back(), '.') << message;
    messages.insert(message);
  }
  EXPECT_EQ(messages.size(), statuses.size());
}

TEST(Vault, DescribesItself) {
  const VaultFolder folder;
  folder.fill(1);
  const KeychainDescription description = folder.open()->describe();
  EXPECT_EQ(description.name, "vault");
  EXPECT_EQ(description.location, folder.vault());
  EXPECT_EQ(description.status, Status::ok);
}

}  // namespace
}  // namespace talvane::test
