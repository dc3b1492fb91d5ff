#include "tests/secret_service/keyring_test.h"

namespace talvane::testing {
namespace {

class Locking : public KeyringTest {
 protected:
  void SetUp() override {
    session_.startBus();
    session_.startDaemon("correct horse");
    keychain_ = makeSecretServiceKeychain();
  }

  std::unique_ptr<KeychainService> keychain_;
};

constexpr KeychainStatus locked = KeychainStatus::interaction_not_allowed;

TEST_F(Locking, NothingIsReadFromALockedKeyring) {
  ASSERT_EQ(keychain_->add("token", "ada", bytes("one")), KeychainStatus::ok);
  BusClient client;
  client.lock(client.defaultCollection());
  SecretBytes secret = bytes("before");
  EXPECT_EQ(keychain_->find("token", "ada", &secret), locked);
  EXPECT_EQ(keychain_->find("token", "ada", nullptr), locked);
  EXPECT_EQ(secret.get(), bytes("before").get());
}

TEST_F(Locking, AMissingItemOfALockedKeyringIsNotSaidToBeMissing) {
  BusClient client;
  client.lock(client.defaultCollection());
  EXPECT_EQ(keychain_->find("token", "ada", nullptr), locked);
  EXPECT_EQ(keychain_->replace("token", "ada", bytes("one")), locked);
  EXPECT_EQ(keychain_->remove("token", "ada"), locked);
}

TEST_F(Locking, ALockedKeyringIsNotChangedAndNobodyIsAsked) {
  ASSERT_EQ(keychain_->add("token", "ada", bytes("one")), KeychainStatus::ok);
  BusClient client;
  const std::string collection = client.defaultCollection();
  client.lock(collection);
  const std::string before = readFile(session_.keyring());
  {
    BusMonitor monitor;
    EXPECT_EQ(keychain_->add("token", "ada", bytes("two")), locked);
    EXPECT_EQ(keychain_->add("token2", "ada", bytes("two")), locked);
    EXPECT_EQ(keychain_->replace("token", "ada", bytes("two")), locked);
    EXPECT_EQ(keychain_->remove("token", "ada"), locked);
    EXPECT_GE(monitor.calls("SearchItems"), 4);
    for (const char* asking : {"Prompt", "CreateItem", "Delete", "BeginPrompting"}) {
      EXPECT_EQ(monitor.calls(asking), 0) << asking;
    }
  }
  EXPECT_FALSE(before.empty());
  EXPECT_EQ(readFile(session_.keyring()), before);
  client.unlock(collection, "correct horse");
  EXPECT_EQ(found(*keychain_, "token"), "one");
  EXPECT_EQ(keychain_->find("token2", "ada", nullptr), KeychainStatus::item_not_found);
}

TEST_F(Locking, AReadingOfALockedKeyringFindsItLocked) {
  ASSERT_EQ(keychain_->add("token", "ada", bytes("one")), KeychainStatus::ok);
  BusClient client;
  client.lock(client.defaultCollection());
  keychain_->beginReading("ada");
  EXPECT_EQ(found(*keychain_, "token"), "status -25308");
  EXPECT_EQ(found(*keychain_, "missing"), "status -25308");
  keychain_->endReading();
}

TEST_F(Locking, AnEmptyKeyringThatIsLockedIsLockedInAReadingToo) {
  BusClient client;
  client.lock(client.defaultCollection());
  keychain_->beginReading("ada");
  EXPECT_EQ(found(*keychain_, "token"), "status -25308");
  EXPECT_EQ(found(*keychain_, "token2"), "status -25308");
  keychain_->endReading();
}

TEST_F(Locking, ALockedKeyringIsDescribedAsLocked) {
  BusClient client;
  client.lock(client.defaultCollection());
  const KeychainDescription description = keychain_->describe();
  EXPECT_EQ(description.status, locked);
  EXPECT_EQ(description.location, "Login");
}

TEST_F(Locking, ADaemonThatWasNeverUnlockedIsLocked) {
  ASSERT_EQ(keychain_->add("token", "ada", bytes("one")), KeychainStatus::ok);
  session_.killDaemon();
  session_.startDaemonAsItIs();
  EXPECT_EQ(found(*keychain_, "token"), "status -25308");
  EXPECT_EQ(keychain_->add("token2", "ada", bytes("two")), locked);
}

TEST_F(Locking, AKeyringThatTakesNoPasswordIsUnlockedAsNeeded) {
  BusClient client;
  const std::string collection = client.makeCollection("Free", "");
  client.setDefault(collection);
  ASSERT_EQ(keychain_->add("token", "ada", bytes("one")), KeychainStatus::ok);
  const auto lock = [&] {
    client.lock(collection);
    ASSERT_TRUE(client.isLocked(collection));
  };
  lock();
  EXPECT_EQ(found(*keychain_, "token"), "one");
  lock();
  keychain_->beginReading("ada");
  EXPECT_EQ(found(*keychain_, "token"), "one");
  EXPECT_EQ(found(*keychain_, "missing"), "status -25300");
  keychain_->endReading();
  lock();
  EXPECT_EQ(keychain_->find("missing", "ada", nullptr), KeychainStatus::item_not_found);
  lock();
  EXPECT_EQ(keychain_->describe().status, KeychainStatus::ok);
  lock();
  EXPECT_EQ(keychain_->add("token2", "ada", bytes("two")), KeychainStatus::ok);
  lock();
  EXPECT_EQ(keychain_->replace("token", "ada", bytes("three")), KeychainStatus::ok);
  lock();
  EXPECT_EQ(found(*keychain_, "token"), "three");
  lock();
  EXPECT_EQ(keychain_->remove("token2", "ada"), KeychainStatus::ok);
  EXPECT_EQ(client.findItems("token2", "ada").size(), 0U);
}

TEST_F(Locking, AnItemElsewhereIsFoundReplacedAndRemovedThere) {
  BusClient client;
  const std::string other = client.makeCollection("Other", "");
  const std::string path = client.addItem(other, "token", "ada", "b25l");  // "one"
  EXPECT_EQ(found(*keychain_, "token"), "one");
  EXPECT_EQ(keychain_->add("token", "ada", bytes("two")), KeychainStatus::duplicate_item);
  ASSERT_EQ(keychain_->replace("token", "ada", bytes("two")), KeychainStatus::ok);
  EXPECT_EQ(found(*keychain_, "token"), "two");
  const auto paths = client.findItems("token", "ada");
  ASSERT_EQ(paths.size(), 1U);
  EXPECT_TRUE(paths[0].starts_with(other + "/")) << paths[0];
  ASSERT_EQ(keychain_->remove("token", "ada"), KeychainStatus::ok);
  EXPECT_TRUE(client.findItems("token", "ada").empty());
}

TEST_F(Locking, AnItemThatIsLockedElsewhereIsLocked) {
  BusClient client;
  const std::string other = client.makeCollection("Other", "a password");
  client.addItem(other, "token", "ada", "b25l");
  ASSERT_EQ(keychain_->add("token2", "ada", bytes("two")), KeychainStatus::ok);
  client.lock(other);
  EXPECT_EQ(found(*keychain_, "token"), "status -25308");
  EXPECT_EQ(keychain_->add("token", "ada", bytes("two")), locked);
  EXPECT_EQ(keychain_->replace("token", "ada", bytes("two")), locked);
  EXPECT_EQ(keychain_->remove("token", "ada"), locked);
  EXPECT_EQ(client.findItems("token", "ada").size(), 1U);
  // Others are as they are.
  EXPECT_EQ(found(*keychain_, "missing"), "status -25300");
  keychain_->beginReading("ada");
  EXPECT_EQ(found(*keychain_, "token"), "status -25308");
  EXPECT_EQ(found(*keychain_, "token2"), "two");
  EXPECT_EQ(found(*keychain_, "missing"), "status -25300");
  keychain_->endReading();
  // Last: a daemon that writes in the next second reads its files again, and then no longer finds
  // what is locked.
  EXPECT_EQ(keychain_->add("token3", "ada", bytes("three")), KeychainStatus::ok);
}

TEST_F(Locking, WhatIsPartlyLockedIsReadButNotRemoved) {
  BusClient client;
  const std::string other = client.makeCollection("Other", "a password");
  client.addItem(other, "token", "ada", "b25l");  // "one"
  client.lock(other);
  client.addItem(client.defaultCollection(), "token", "ada", "dHdv");  // "two"
  EXPECT_EQ(found(*keychain_, "token"), "two");
  EXPECT_EQ(keychain_->remove("token", "ada"), locked);
  EXPECT_EQ(client.findItems("token", "ada").size(), 2U);
}

TEST_F(Locking, OfSeveralItemsTheNewestCountsAndReplacingLeavesOne) {
  BusClient client;
  const std::string collection = client.defaultCollection();
  const std::string other = client.makeCollection("Other", "");
  client.addItem(collection, "token", "ada", "b25l");  // "one"
  g_usleep(1'100'000);                                 // items' times are in seconds
  client.addItem(other, "token", "ada", "dHdv");       // "two"
  EXPECT_EQ(found(*keychain_, "token"), "two");
  keychain_->beginReading("ada");
  EXPECT_EQ(found(*keychain_, "token"), "two");
  keychain_->endReading();

  g_usleep(1'100'000);
  client.addItem(collection, "token", "ada", "dGhyZWU=");  // "three"
  EXPECT_EQ(found(*keychain_, "token"), "three");
  ASSERT_EQ(client.findItems("token", "ada").size(), 3U);
  ASSERT_EQ(keychain_->replace("token", "ada", bytes("four")), KeychainStatus::ok);
  EXPECT_EQ(client.findItems("token", "ada").size(), 1U);
  EXPECT_EQ(found(*keychain_, "token"), "four");
}

TEST_F(Locking, OfSeveralItemsNoneIsLeftByRemoving) {
  BusClient client;
  client.addItem(client.defaultCollection(), "token", "ada", "b25l");
  client.addItem(client.defaultCollection(), "token", "ada", "dHdv");
  client.addItem(client.makeCollection("Other", ""), "token", "ada", "dHdv");
  ASSERT_EQ(client.findItems("token", "ada").size(), 3U);
  EXPECT_EQ(keychain_->remove("token", "ada"), KeychainStatus::ok);
  EXPECT_TRUE(client.findItems("token", "ada").empty());
}

}  // namespace
}  // namespace talvane::testing
