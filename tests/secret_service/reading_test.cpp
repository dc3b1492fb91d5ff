#include "tests/secret_service/keyring_test.h"

namespace talvane::testing {
namespace {

class Reading : public KeyringTest {
 protected:
  void SetUp() override {
    session_.startBus();
    session_.startDaemon("correct horse");
    keychain_ = makeSecretServiceKeychain();
  }

  static std::string name(int index) { return "TalvaneSoftToken502" + std::to_string(index); }

  void addItems(int count) {
    for (int i = 0; i < count; ++i) {
      ASSERT_EQ(keychain_->add(name(i), "ada", bytes("secret " + std::to_string(i))),
                KeychainStatus::ok);
    }
  }

  std::unique_ptr<KeychainService> keychain_;
};

TEST_F(Reading, OfThirtyTwoItemsTakesOneSearchAndOneFetch) {
  addItems(32);
  ASSERT_EQ(keychain_->add("another's", "bob", bytes("x")), KeychainStatus::ok);
  keychain_ = makeSecretServiceKeychain();
  BusMonitor monitor;
  keychain_->beginReading("ada");
  for (int i = 0; i < 32; ++i) {
    EXPECT_EQ(found(*keychain_, name(i)), "secret " + std::to_string(i));
  }
  EXPECT_EQ(found(*keychain_, name(32)), "status -25300");
  EXPECT_EQ(found(*keychain_, name(33)), "status -25300");
  keychain_->endReading();
  EXPECT_EQ(monitor.calls("SearchItems"), 1);
  EXPECT_EQ(monitor.calls("GetSecrets"), 1);
  EXPECT_EQ(monitor.calls("GetSecret"), 0);
  EXPECT_EQ(monitor.calls("OpenSession"), 1);
  EXPECT_EQ(monitor.calls("ReadAlias"), 1);
}

TEST_F(Reading, LooksAgainInTheNextReadingButKeepsTheSession) {
  addItems(2);
  BusMonitor monitor;
  for (int round = 0; round < 3; ++round) {
    keychain_->beginReading("ada");
    EXPECT_EQ(found(*keychain_, name(0)), "secret 0");
    EXPECT_EQ(found(*keychain_, name(1)), "secret 1");
    keychain_->endReading();
  }
  EXPECT_EQ(monitor.calls("SearchItems"), 3);
  EXPECT_EQ(monitor.calls("GetSecrets"), 3);
  EXPECT_EQ(monitor.calls("OpenSession"), 0);
}

TEST_F(Reading, BeginsWithTheFirstFind) {
  BusMonitor monitor;
  keychain_->beginReading("ada");
  keychain_->endReading();
  EXPECT_EQ(monitor.calls("SearchItems"), 0);
}

TEST_F(Reading, OutsideOfItEveryFindIsALook) {
  addItems(1);
  BusMonitor monitor;
  EXPECT_EQ(found(*keychain_, name(0)), "secret 0");
  EXPECT_EQ(found(*keychain_, name(0)), "secret 0");
  EXPECT_EQ(monitor.calls("SearchItems"), 2);
  EXPECT_EQ(monitor.calls("GetSecrets"), 2);
}

TEST_F(Reading, SeesOwnChanges) {
  addItems(3);
  keychain_->beginReading("ada");
  EXPECT_EQ(found(*keychain_, name(0)), "secret 0");
  EXPECT_EQ(found(*keychain_, name(3)), "status -25300");
  ASSERT_EQ(keychain_->replace(name(0), "ada", bytes("new")), KeychainStatus::ok);
  ASSERT_EQ(keychain_->remove(name(1), "ada"), KeychainStatus::ok);
  ASSERT_EQ(keychain_->add(name(3), "ada", bytes("added")), KeychainStatus::ok);
  EXPECT_EQ(found(*keychain_, name(0)), "new");
  EXPECT_EQ(found(*keychain_, name(1)), "status -25300");
  EXPECT_EQ(found(*keychain_, name(2)), "secret 2");
  EXPECT_EQ(found(*keychain_, name(3)), "added");
  keychain_->endReading();
  EXPECT_EQ(found(*keychain_, name(0)), "new");
  EXPECT_EQ(found(*keychain_, name(1)), "status -25300");
  EXPECT_EQ(found(*keychain_, name(3)), "added");
}

TEST_F(Reading, SeesWhatMadeAChangeFail) {
  keychain_->beginReading("ada");
  EXPECT_EQ(found(*keychain_, "token"), "status -25300");
  BusClient client;
  client.addItem(client.defaultCollection(), "token", "ada", "b25l");  // "one"
  EXPECT_EQ(keychain_->add("token", "ada", bytes("two")), KeychainStatus::duplicate_item);
  EXPECT_EQ(found(*keychain_, "token"), "one");
  keychain_->endReading();
}

TEST_F(Reading, IsOfItsAccountOnly) {
  ASSERT_EQ(keychain_->add("token", "ada", bytes("ada's")), KeychainStatus::ok);
  ASSERT_EQ(keychain_->add("token", "bob", bytes("bob's")), KeychainStatus::ok);
  keychain_->beginReading("ada");
  EXPECT_EQ(found(*keychain_, "token", "ada"), "ada's");
  EXPECT_EQ(found(*keychain_, "token", "bob"), "bob's");
  ASSERT_EQ(keychain_->replace("token", "bob", bytes("new")), KeychainStatus::ok);
  EXPECT_EQ(found(*keychain_, "token", "ada"), "ada's");
  EXPECT_EQ(found(*keychain_, "token", "bob"), "new");
  keychain_->endReading();
}

TEST_F(Reading, OfAnEmptyKeyringFindsNothing) {
  keychain_->beginReading("ada");
  SecretBytes secret = bytes("before");
  EXPECT_EQ(keychain_->find("token", "ada", &secret), KeychainStatus::item_not_found);
  EXPECT_EQ(secret.get(), bytes("before").get());
  keychain_->endReading();
}

TEST_F(Reading, OfAnAccountThatIsNoTextFails) {
  keychain_->beginReading("\xff");
  EXPECT_EQ(keychain_->find("token", "\xff", nullptr), KeychainStatus::io_error);
  keychain_->endReading();
}

}  // namespace
}  // namespace talvane::testing
