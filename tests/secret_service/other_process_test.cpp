#include "tests/secret_service/keyring_test.h"

namespace talvane::testing {
namespace {

/// Beside another program on the same keyring: secret-tool.
class OtherProcess : public KeyringTest {
 protected:
  void SetUp() override {
    session_.startBus();
    session_.startDaemon("correct horse");
    keychain_ = makeSecretServiceKeychain();
  }

  static std::vector<std::string> command(std::vector<std::string> start,
                                          const std::string& service) {
    for (const std::string& word :
         {std::string("xdg:schema"), std::string("org.talvane.SoftToken"), std::string("service"),
          service, std::string("account"), std::string("ada")}) {
      start.push_back(word);
    }
    return start;
  }

  int run(const std::vector<std::string>& command_line, const std::string& input = {},
          std::string* output = nullptr) {
    return ChildProcess(command_line, session_.folder() / "errors", input).finish(output);
  }

  void store(const std::string& service, const std::string& text) {
    ASSERT_EQ(run(command({"secret-tool", "store", "--label=by hand"}, service), text), 0);
  }

  std::string lookUp(const std::string& service) {
    std::string text;
    EXPECT_EQ(run(command({"secret-tool", "lookup"}, service), {}, &text), 0);
    return text;
  }

  std::unique_ptr<KeychainService> keychain_;
};

TEST_F(OtherProcess, ReadsWhatTheKeychainStored) {
  ASSERT_EQ(keychain_->add("token", "ada", bytes("foobar")), KeychainStatus::ok);
  EXPECT_EQ(lookUp("token"), "Zm9vYmFy");
}

TEST_F(OtherProcess, ItsChangesAreSeenAtTheNextRead) {
  store("token", "b25l");
  EXPECT_EQ(found(*keychain_, "token"), "one");
  store("token", "dHdv");
  EXPECT_EQ(found(*keychain_, "token"), "two");
  ASSERT_EQ(run(command({"secret-tool", "clear"}, "token")), 0);
  EXPECT_EQ(found(*keychain_, "token"), "status -25300");
  store("token", "b25l");
  EXPECT_EQ(found(*keychain_, "token"), "one");
}

TEST_F(OtherProcess, ItsChangesAreNotSeenWithinAReadingButAfterIt) {
  store("token", "b25l");
  keychain_->beginReading("ada");
  store("token", "dHdv");  // before the first find
  EXPECT_EQ(found(*keychain_, "token"), "two");
  store("token", "dGhyZWU=");
  EXPECT_EQ(found(*keychain_, "token"), "two");
  keychain_->endReading();
  EXPECT_EQ(found(*keychain_, "token"), "three");
  store("token", "b25l");
  keychain_->beginReading("ada");
  EXPECT_EQ(found(*keychain_, "token"), "one");
  keychain_->endReading();
}

TEST_F(OtherProcess, WhatIsNotBase64CannotBeDecoded) {
  store("token", "not base64!");
  SecretBytes secret = bytes("before");
  EXPECT_EQ(keychain_->find("token", "ada", &secret), KeychainStatus::cannot_decode);
  EXPECT_EQ(secret.get(), bytes("before").get());
  EXPECT_EQ(keychain_->find("token", "ada", nullptr), KeychainStatus::ok);
  keychain_->beginReading("ada");
  EXPECT_EQ(keychain_->find("token", "ada", &secret), KeychainStatus::cannot_decode);
  EXPECT_EQ(keychain_->find("token", "ada", nullptr), KeychainStatus::ok);
  keychain_->endReading();
  EXPECT_EQ(secret.get(), bytes("before").get());
  EXPECT_EQ(lookUp("token"), "not base64!");
}

TEST_F(OtherProcess, OneDamagedItemDoesNotHideTheOthers) {
  store("token1", "b25l");
  store("token2", "%%%%");
  keychain_->beginReading("ada");
  EXPECT_EQ(found(*keychain_, "token1"), "one");
  EXPECT_EQ(found(*keychain_, "token2"), "status -26275");
  EXPECT_EQ(found(*keychain_, "token3"), "status -25300");
  keychain_->endReading();
}

TEST_F(OtherProcess, ADamagedItemCanBeReplacedAndRemoved) {
  store("token", "not base64!");
  ASSERT_EQ(keychain_->replace("token", "ada", bytes("one")), KeychainStatus::ok);
  EXPECT_EQ(found(*keychain_, "token"), "one");
  store("token", "not base64!");
  EXPECT_EQ(keychain_->remove("token", "ada"), KeychainStatus::ok);
  EXPECT_EQ(found(*keychain_, "token"), "status -25300");
}

TEST_F(OtherProcess, AnItemOfAnotherKindIsNotOurs) {
  ASSERT_EQ(
      run({"secret-tool", "store", "--label=x", "service", "token", "account", "ada"}, "b25l"), 0);
  EXPECT_EQ(found(*keychain_, "token"), "status -25300");
  EXPECT_EQ(keychain_->remove("token", "ada"), KeychainStatus::item_not_found);
  keychain_->beginReading("ada");
  EXPECT_EQ(found(*keychain_, "token"), "status -25300");
  keychain_->endReading();
}

}  // namespace
}  // namespace talvane::testing
