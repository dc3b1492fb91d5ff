#include <algorithm>
#include <numeric>
#include <string_view>

#include "tests/secret_service/keyring_test.h"

namespace talvane::testing {
namespace {

std::string base64(const Bytes& bytes) {
  gchar* text = g_base64_encode(bytes.data(), bytes.size());
  std::string result = text;
  g_free(text);
  return result;
}

/// With the login keyring's password as the parameter, empty for none.
class Items : public KeyringTest, public ::testing::WithParamInterface<std::string> {
 protected:
  void SetUp() override {
    session_.startBus();
    session_.startDaemon(GetParam());
    keychain_ = makeSecretServiceKeychain();
  }

  // A keyring without a password needs no unlocking.
  void restartDaemon() {
    session_.killDaemon();
    if (GetParam().empty()) {
      session_.startDaemonAsItIs();
    } else {
      session_.startDaemon(GetParam());
    }
  }

  std::unique_ptr<KeychainService> keychain_;
};

INSTANTIATE_TEST_SUITE_P(SecretService, Items, ::testing::Values("correct horse", ""),
                         [](const auto& kind) {
                           return kind.param.empty() ? "WithoutPassword" : "WithPassword";
                         });

TEST_P(Items, TheKeyringIsOfTheKindThatTheTestIsAbout) {
  ASSERT_EQ(keychain_->add("token", "ada", bytes("secret")), KeychainStatus::ok);
  const std::string file = readFile(session_.keyring());
  const bool is_text = file.starts_with("[keyring]");
  EXPECT_EQ(is_text, GetParam().empty());
  EXPECT_EQ(file.find("secret=c2VjcmV0\n") != std::string::npos, GetParam().empty());
}

TEST_P(Items, FindsWhatWasAdded) {
  EXPECT_EQ(keychain_->add("token", "ada", bytes("one")), KeychainStatus::ok);
  EXPECT_EQ(found(*keychain_, "token"), "one");
}

TEST_P(Items, FindsWithoutReading) {
  EXPECT_EQ(keychain_->find("token", "ada", nullptr), KeychainStatus::item_not_found);
  ASSERT_EQ(keychain_->add("token", "ada", bytes("one")), KeychainStatus::ok);
  EXPECT_EQ(keychain_->find("token", "ada", nullptr), KeychainStatus::ok);
}

TEST_P(Items, AMissingItemIsNotFoundAndLeavesTheSecretAlone) {
  SecretBytes secret = bytes("before");
  EXPECT_EQ(keychain_->find("token", "ada", &secret), KeychainStatus::item_not_found);
  EXPECT_EQ(secret.get(), bytes("before").get());
  EXPECT_EQ(keychain_->replace("token", "ada", bytes("one")), KeychainStatus::item_not_found);
  EXPECT_EQ(keychain_->remove("token", "ada"), KeychainStatus::item_not_found);
  EXPECT_EQ(keychain_->find("token", "ada", nullptr), KeychainStatus::item_not_found);
}

TEST_P(Items, AddingTwiceKeepsTheFirst) {
  ASSERT_EQ(keychain_->add("token", "ada", bytes("one")), KeychainStatus::ok);
  EXPECT_EQ(keychain_->add("token", "ada", bytes("two")), KeychainStatus::duplicate_item);
  EXPECT_EQ(found(*keychain_, "token"), "one");
}

TEST_P(Items, ReplacingLeavesOneItemWithTheNewSecret) {
  ASSERT_EQ(keychain_->add("token", "ada", bytes("one")), KeychainStatus::ok);
  EXPECT_EQ(keychain_->replace("token", "ada", bytes("two")), KeychainStatus::ok);
  EXPECT_EQ(found(*keychain_, "token"), "two");
  BusClient client;
  EXPECT_EQ(client.findItems("token", "ada").size(), 1U);
}

TEST_P(Items, ReplacingIsOneStep) {
  ASSERT_EQ(keychain_->add("token", "ada", bytes("one")), KeychainStatus::ok);
  BusClient client;
  const auto before = client.findItems("token", "ada");
  BusMonitor monitor;
  ASSERT_EQ(keychain_->replace("token", "ada", bytes("two")), KeychainStatus::ok);
  EXPECT_EQ(client.findItems("token", "ada"), before);
  EXPECT_EQ(monitor.calls("CreateItem"), 1);
  EXPECT_EQ(monitor.calls("Delete"), 0);
}

TEST_P(Items, WhatWasRemovedIsGone) {
  ASSERT_EQ(keychain_->add("token", "ada", bytes("one")), KeychainStatus::ok);
  ASSERT_EQ(keychain_->add("token2", "ada", bytes("two")), KeychainStatus::ok);
  EXPECT_EQ(keychain_->remove("token", "ada"), KeychainStatus::ok);
  EXPECT_EQ(keychain_->find("token", "ada", nullptr), KeychainStatus::item_not_found);
  EXPECT_EQ(keychain_->remove("token", "ada"), KeychainStatus::item_not_found);
  EXPECT_EQ(found(*keychain_, "token2"), "two");
}

TEST_P(Items, AnotherAccountsItemsAreInvisible) {
  ASSERT_EQ(keychain_->add("token", "ada", bytes("ada's")), KeychainStatus::ok);
  EXPECT_EQ(keychain_->find("token", "bob", nullptr), KeychainStatus::item_not_found);
  EXPECT_EQ(keychain_->replace("token", "bob", bytes("x")), KeychainStatus::item_not_found);
  EXPECT_EQ(keychain_->remove("token", "bob"), KeychainStatus::item_not_found);
  EXPECT_EQ(keychain_->add("token", "bob", bytes("bob's")), KeychainStatus::ok);
  EXPECT_EQ(found(*keychain_, "token", "ada"), "ada's");
  EXPECT_EQ(found(*keychain_, "token", "bob"), "bob's");
}

TEST_P(Items, ANameThatBeginsLikeAnotherIsAnother) {
  ASSERT_EQ(keychain_->add("TalvaneSoftToken5021", "ada", bytes("one")), KeychainStatus::ok);
  EXPECT_EQ(keychain_->find("TalvaneSoftToken502", "ada", nullptr), KeychainStatus::item_not_found);
  EXPECT_EQ(keychain_->find("TalvaneSoftToken50210", "ada", nullptr),
            KeychainStatus::item_not_found);
  EXPECT_EQ(keychain_->find("talvanesofttoken5021", "ada", nullptr),
            KeychainStatus::item_not_found);
}

TEST_P(Items, NamesMayHoldAnyText) {
  for (const std::string name :
       {"", " ", "a=b", "a\nb", "[section]", "\"quoted\"", "\xc3\xa9t\xc3\xa9 \xe2\x9c\x93"}) {
    EXPECT_EQ(keychain_->add(name, "ada", bytes("of " + name)), KeychainStatus::ok) << name;
    EXPECT_EQ(found(*keychain_, name), "of " + name);
    EXPECT_EQ(keychain_->add("token", name, bytes("by " + name)), KeychainStatus::ok) << name;
    EXPECT_EQ(found(*keychain_, "token", name), "by " + name);
  }
}

TEST_P(Items, ANameThatIsNoTextIsAFailure) {
  for (const std::string& name : {std::string("\xff"), std::string("to\0ken", 6)}) {
    EXPECT_EQ(keychain_->add(name, "ada", bytes("x")), KeychainStatus::io_error);
    EXPECT_EQ(keychain_->find(name, "ada", nullptr), KeychainStatus::io_error);
    EXPECT_EQ(keychain_->find("token", name, nullptr), KeychainStatus::io_error);
    EXPECT_EQ(keychain_->remove(name, "ada"), KeychainStatus::io_error);
    EXPECT_NE(keychain_->message(KeychainStatus::io_error).find("not valid text"),
              std::string::npos);
  }
}

TEST_P(Items, EveryByteValueComesBackAlsoAfterARestart) {
  Bytes all(256);
  std::iota(all.begin(), all.end(), std::uint8_t{0});
  ASSERT_EQ(keychain_->add("token", "ada", all), KeychainStatus::ok);
  SecretBytes secret;
  ASSERT_EQ(keychain_->find("token", "ada", &secret), KeychainStatus::ok);
  EXPECT_EQ(secret.get(), all);
  restartDaemon();
  secret.clear();
  ASSERT_EQ(keychain_->find("token", "ada", &secret), KeychainStatus::ok);
  EXPECT_EQ(secret.get(), all);
}

TEST_P(Items, EveryLengthComesBackAlsoAfterARestart) {
  const std::size_t lengths[] = {0, 1, 2, 3, 4, 4095, 4096};
  for (const std::size_t length : lengths) {
    ASSERT_EQ(keychain_->add("token" + std::to_string(length), "ada", Bytes(length, 0xa5)),
              KeychainStatus::ok)
        << length;
  }
  for (int round = 0; round < 2; ++round) {
    for (const std::size_t length : lengths) {
      SecretBytes secret = bytes("before");
      ASSERT_EQ(keychain_->find("token" + std::to_string(length), "ada", &secret),
                KeychainStatus::ok)
          << length;
      EXPECT_EQ(secret.get(), Bytes(length, 0xa5)) << length;
    }
    if (round == 0) restartDaemon();
  }
}

TEST_P(Items, ChangesSurviveARestart) {
  ASSERT_EQ(keychain_->add("kept", "ada", bytes("one")), KeychainStatus::ok);
  ASSERT_EQ(keychain_->add("replaced", "ada", bytes("one")), KeychainStatus::ok);
  ASSERT_EQ(keychain_->add("removed", "ada", bytes("one")), KeychainStatus::ok);
  ASSERT_EQ(keychain_->replace("replaced", "ada", bytes("two")), KeychainStatus::ok);
  ASSERT_EQ(keychain_->remove("removed", "ada"), KeychainStatus::ok);
  restartDaemon();
  EXPECT_EQ(found(*keychain_, "kept"), "one");
  EXPECT_EQ(found(*keychain_, "replaced"), "two");
  EXPECT_EQ(keychain_->find("removed", "ada", nullptr), KeychainStatus::item_not_found);
}

TEST_P(Items, AnItemIsOneLineOfBase64WithReadableLabelAndAttributes) {
  Bytes secret(200);
  std::iota(secret.begin(), secret.end(), std::uint8_t{0});
  ASSERT_EQ(keychain_->add("TalvaneSoftToken5020", "ada", secret), KeychainStatus::ok);
  BusClient client;
  const auto paths = client.findItems("TalvaneSoftToken5020", "ada");
  ASSERT_EQ(paths.size(), 1U);
  EXPECT_EQ(client.itemText(paths[0]), base64(secret));
  const char* item = "org.freedesktop.Secret.Item";
  const Variant label = client.property(paths[0], item, "Label");
  EXPECT_STREQ(g_variant_get_string(label.get(), nullptr),
               "Talvane Soft Token: TalvaneSoftToken5020");
  const Variant attributes = client.property(paths[0], item, "Attributes");
  const Variant expected(
      g_variant_new_parsed("{'account': 'ada', 'service': 'TalvaneSoftToken5020', "
                           "'xdg:schema': 'org.talvane.SoftToken'}"));
  EXPECT_EQ(g_variant_n_children(attributes.get()), 3U);
  for (const char* name : {"account", "service", "xdg:schema"}) {
    const char* value = nullptr;
    const char* expected_value = nullptr;
    ASSERT_TRUE(g_variant_lookup(attributes.get(), name, "&s", &value)) << name;
    ASSERT_TRUE(g_variant_lookup(expected.get(), name, "&s", &expected_value));
    EXPECT_STREQ(value, expected_value);
  }
}

TEST_P(Items, TwoStartsSeeTheSameItems) {
  ASSERT_EQ(keychain_->add("token", "ada", bytes("one")), KeychainStatus::ok);
  keychain_.reset();
  keychain_ = makeSecretServiceKeychain();
  EXPECT_EQ(found(*keychain_, "token"), "one");
  const auto second = makeSecretServiceKeychain();
  ASSERT_EQ(second->replace("token", "ada", bytes("two")), KeychainStatus::ok);
  EXPECT_EQ(found(*keychain_, "token"), "two");
}

TEST_P(Items, DescribesTheDefaultKeyring) {
  const KeychainDescription description = keychain_->describe();
  EXPECT_EQ(description.name, "Secret Service");
  EXPECT_EQ(description.location, "Login");
  EXPECT_EQ(description.status, KeychainStatus::ok);
}

TEST_P(Items, SecretsTravelEncrypted) {
  BusMonitor monitor;
  ASSERT_EQ(keychain_->add("token", "ada", bytes("the quick brown fox")), KeychainStatus::ok);
  ASSERT_EQ(keychain_->replace("token", "ada", bytes("jumps over the lazy dog")),
            KeychainStatus::ok);
  ASSERT_EQ(found(*keychain_, "token"), "jumps over the lazy dog");
  EXPECT_TRUE(monitor.saw("dh-ietf1024-sha256-aes128-cbc-pkcs7"));
  const std::string first = base64(bytes("the quick brown fox"));
  const std::string second = base64(bytes("jumps over the lazy dog"));
  EXPECT_FALSE(monitor.saw(first));
  EXPECT_FALSE(monitor.saw(second));
  // The monitor does see what is not encrypted.
  BusClient client;
  EXPECT_EQ(client.itemText(client.findItems("token", "ada").at(0)), second);
  EXPECT_TRUE(monitor.saw(second));
}

}  // namespace
}  // namespace talvane::testing
