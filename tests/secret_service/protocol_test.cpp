#include <set>
#include <string>

#include "tests/secret_service/fake_secret_service.h"
#include "tests/secret_service/keyring_test.h"

namespace talvane::testing {
namespace {

std::string byteList(const std::string& text) {
  std::string list;
  for (const char character : text) {
    list += (list.empty() ? "" : ", ") + std::to_string(static_cast<unsigned char>(character));
  }
  return "[" + list + "]";
}

/// Services that behave otherwise than the daemon that most people have.
class Protocol : public KeyringTest {
 protected:
  void SetUp() override {
    session_.startBus();
    fake_ = std::make_unique<FakeSecretService>();
    keychain_ = makeSecretServiceKeychain();
  }
  void TearDown() override {
    keychain_.reset();
    fake_.reset();
  }

  /// There is one item, whose text is this.
  void haveItem(const std::string& text) {
    fake_->on("SearchItems",
              replying(std::string("([objectpath '") + FakeSecretService::item + "'], @ao [])"));
    fake_->on("GetSecrets", replying(std::string("({objectpath '") + FakeSecretService::item +
                                     "': (objectpath '" + FakeSecretService::session +
                                     "', @ay [], @ay " + byteList(text) + ", 'text/plain')},)"));
  }

  /// There are two, of the same name.
  void haveTwoItems() {
    fake_->on("SearchItems", replying("([objectpath '/all/one', '/all/two'], @ao [])"));
  }

  /// The call failed, and the user reads the service's words for it.
  void expectTold(KeychainStatus status, const std::string& words) {
    EXPECT_EQ(status, KeychainStatus::io_error);
    const std::string message = keychain_->message(KeychainStatus::io_error);
    EXPECT_NE(message.find('(' + words + ')'), std::string::npos) << message;
  }
  KeychainStatus find(SecretBytes* secret) { return keychain_->find("token", "ada", secret); }

  std::unique_ptr<FakeSecretService> fake_;
  std::unique_ptr<KeychainService> keychain_;
};

constexpr const char* failed = "org.freedesktop.DBus.Error.Failed";
constexpr const char* no_session = "org.freedesktop.Secret.Error.NoSession";

TEST_F(Protocol, AServiceWithoutEncryptionIsSpokenToPlainly) {
  haveItem("b25l");
  EXPECT_EQ(found(*keychain_, "token"), "one");
  EXPECT_EQ(fake_->calls("OpenSession"), 2);  // encrypted first
}

TEST_F(Protocol, AServiceThatCannotSearchTheLockedIsLocked) {
  fake_->on("Locked", replying("(<true>,)"));
  EXPECT_EQ(found(*keychain_, "token"), "status -25308");
  EXPECT_EQ(keychain_->add("token", "ada", bytes("x")), KeychainStatus::interaction_not_allowed);
  EXPECT_EQ(keychain_->replace("token", "ada", bytes("x")),
            KeychainStatus::interaction_not_allowed);
  EXPECT_EQ(keychain_->remove("token", "ada"), KeychainStatus::interaction_not_allowed);
  EXPECT_EQ(keychain_->describe().status, KeychainStatus::interaction_not_allowed);
  EXPECT_EQ(fake_->calls("CreateItem"), 0);
  EXPECT_EQ(fake_->calls("Prompt"), 0);
  EXPECT_EQ(fake_->calls("Dismiss"), 5);
}

TEST_F(Protocol, AServiceThatRefusesToUnlockIsLocked) {
  fake_->on("Locked", replying("(<true>,)"));
  fake_->on("Unlock", failing(failed, "I do not do that"));
  EXPECT_EQ(found(*keychain_, "token"), "status -25308");
}

TEST_F(Protocol, WhatComesToLightByUnlockingWithoutAPasswordIsFound) {
  fake_->on("Locked", replying("(<true>,)"));
  fake_->on("Unlock", [this](GDBusMessage* call) {
    haveItem("b25l");
    return replying(std::string("([objectpath '") + FakeSecretService::collection +
                    "'], objectpath '/')")(call);
  });
  EXPECT_EQ(found(*keychain_, "token"), "one");
}

TEST_F(Protocol, APromptIsDismissed) {
  fake_->on("CreateItem", replying(std::string("(objectpath '/', objectpath '") +
                                   FakeSecretService::prompt + "')"));
  EXPECT_EQ(keychain_->add("token", "ada", bytes("x")), KeychainStatus::interaction_not_allowed);
  EXPECT_EQ(fake_->calls("Dismiss"), 1);
  haveItem("b25l");
  EXPECT_EQ(keychain_->replace("token", "ada", bytes("x")),
            KeychainStatus::interaction_not_allowed);
  EXPECT_EQ(fake_->calls("Dismiss"), 2);
  fake_->on("Delete", replying(std::string("(objectpath '") + FakeSecretService::prompt + "',)"));
  EXPECT_EQ(keychain_->remove("token", "ada"), KeychainStatus::interaction_not_allowed);
  EXPECT_EQ(fake_->calls("Dismiss"), 3);
  EXPECT_EQ(fake_->calls("Prompt"), 0);
}

TEST_F(Protocol, AKeyringLockedSinceTheSearchIsLocked) {
  haveItem("b25l");
  fake_->on("GetSecrets", failing("org.freedesktop.Secret.Error.IsLocked", "locked"));
  EXPECT_EQ(found(*keychain_, "token"), "status -25308");
}

TEST_F(Protocol, ASecretThatIsNotGivenIsNotAMissingItem) {
  haveItem("b25l");
  fake_->on("GetSecrets", replying("(@a{o(oayays)} {},)"));
  EXPECT_EQ(found(*keychain_, "token"), "status -36");
  EXPECT_EQ(fake_->calls("SearchItems"), 2);  // looked once more
  for (const char* attributes : {"(<@a{ss} {}>,)", "(<{'service': 'token', 'account': 'ada'}>,)"}) {
    fake_->on("Attributes", replying(attributes));
    keychain_->beginReading("ada");
    EXPECT_EQ(found(*keychain_, "token"), "status -36") << attributes;
    keychain_->endReading();
  }
}

TEST_F(Protocol, ASecretOfAnotherSessionIsAFailure) {
  haveItem("b25l");
  fake_->on("GetSecrets", replying(std::string("({objectpath '") + FakeSecretService::item +
                                   "': (objectpath '/other', @ay [], @ay b'b25l', 'x')},)"));
  EXPECT_EQ(found(*keychain_, "token"), "status -36");
}

TEST_F(Protocol, AFailureIsToldInTheServicesWords) {
  fake_->on("SearchItems", failing(failed, "The cupboard is bare."));
  EXPECT_EQ(found(*keychain_, "token"), "status -36");
  EXPECT_NE(keychain_->message(KeychainStatus::io_error).find("(The cupboard is bare)"),
            std::string::npos);
  fake_->on("SearchItems", replying("(@ao [], @ao [])"));
  fake_->on("CreateItem", failing(failed, "No room"));
  EXPECT_EQ(keychain_->add("token", "ada", bytes("x")), KeychainStatus::io_error);
  EXPECT_NE(keychain_->message(KeychainStatus::io_error).find("(No room)"), std::string::npos);
}

TEST_F(Protocol, ACollectionThatDoesNotTellItsNameIsAFailure) {
  fake_->on("Label", failing(failed, "No label"));
  expectTold(keychain_->add("token", "ada", bytes("x")), "No label");
  EXPECT_EQ(fake_->calls("CreateItem"), 0);
  expectTold(keychain_->describe().status, "No label");
}

TEST_F(Protocol, OfSeveralItemsNoneIsTakenWhenTheirAgeIsNotTold) {
  haveTwoItems();
  fake_->on("Attributes", replying("(<{'service': 'token', 'account': 'ada'}>,)"));
  fake_->on("GetSecrets", replying("(@a{o(oayays)} {},)"));
  fake_->on("Modified", failing(failed, "No clock"));
  SecretBytes secret;
  expectTold(find(&secret), "No clock");
  expectTold(keychain_->replace("token", "ada", bytes("x")), "No clock");
  EXPECT_EQ(fake_->calls("CreateItem"), 0);
  keychain_->beginReading("ada");
  expectTold(find(&secret), "No clock");
  keychain_->endReading();
}

TEST_F(Protocol, AServiceThatOpensNoSessionIsAFailure) {
  haveItem("b25l");
  fake_->on("OpenSession", failing(failed, "No session"));
  SecretBytes secret;
  expectTold(find(&secret), "No session");
  expectTold(keychain_->replace("token", "ada", bytes("x")), "No session");
  EXPECT_EQ(fake_->calls("CreateItem"), 0);
}

TEST_F(Protocol, ADeletionThatFailsIsAFailure) {
  haveItem("b25l");
  fake_->on("Delete", failing(failed, "No eraser"));
  expectTold(keychain_->remove("token", "ada"), "No eraser");
  EXPECT_EQ(fake_->calls("Delete"), 1);
}

TEST_F(Protocol, ASearchThatFailsAfterUnlockingIsAFailure) {
  const auto unlocking = [this](GDBusMessage* call) {
    fake_->on("SearchItems", failing(failed, "No lamp"));
    return replying("([objectpath '/all'], objectpath '/')")(call);
  };
  SecretBytes secret;
  fake_->on("Unlock", unlocking);
  fake_->on("SearchItems", replying("(@ao [], [objectpath '/all/one'])"));
  expectTold(find(&secret), "No lamp");
  fake_->on("SearchItems", replying("(@ao [], @ao [])"));
  fake_->on("Locked", replying("(<true>,)"));
  expectTold(find(&secret), "No lamp");
}

TEST_F(Protocol, AReadingAsksForWhoseItemIsNotKnownByItself) {
  haveItem("b25l");
  const std::pair<const char*, int> rows[] = {
      {"(<{'service': 'token', 'account': 'ada'}>,)", 1},
      {"(<{'service': 'token', 'account': 'bob'}>,)", 2},
      {"(<{'account': 'ada'}>,)", 2},
      {"(<@a{ss} {}>,)", 2},
  };
  for (const auto& [attributes, searches] : rows) {
    fake_->on("Attributes", replying(attributes));
    const int before = fake_->calls("SearchItems");
    keychain_->beginReading("ada");
    EXPECT_EQ(found(*keychain_, "token"), "one") << attributes;
    keychain_->endReading();
    EXPECT_EQ(fake_->calls("SearchItems") - before, searches) << attributes;
  }
}

TEST_F(Protocol, AReadingThatIsNotToldWhoseItemsTheyAreIsAFailure) {
  haveItem("b25l");
  fake_->on("Attributes", failing(failed, "No list"));
  keychain_->beginReading("ada");
  SecretBytes secret;
  expectTold(find(&secret), "No list");
  keychain_->endReading();
}

TEST_F(Protocol, AReadingThatFailedLooksAgainAfterAChange) {
  fake_->on("SearchItems", failing(failed, "No lamp"));
  keychain_->beginReading("ada");
  EXPECT_EQ(found(*keychain_, "token"), "status -36");
  fake_->on("SearchItems", replying("(@ao [], @ao [])"));
  EXPECT_EQ(found(*keychain_, "token"), "status -36") << "one look for all";
  ASSERT_EQ(keychain_->add("token", "ada", bytes("one")), KeychainStatus::ok);
  haveItem("b25l");
  EXPECT_EQ(found(*keychain_, "token"), "one");
  keychain_->endReading();
}

TEST_F(Protocol, EveryTroubleSaysWhatToDo) {
  std::set<std::string> all;
  for (const auto status :
       {KeychainStatus::ok, KeychainStatus::item_not_found, KeychainStatus::duplicate_item,
        KeychainStatus::interaction_not_allowed, KeychainStatus::not_available,
        KeychainStatus::no_default_keychain, KeychainStatus::cannot_decode,
        KeychainStatus::not_responding, KeychainStatus::disk_full, KeychainStatus::write_permission,
        KeychainStatus::invalid_keychain, KeychainStatus::io_error}) {
    const std::string words = keychain_->message(status);
    const std::size_t advice = words.find("; ");
    EXPECT_NE(advice, std::string::npos) << words;
    EXPECT_FALSE(words.ends_with('.')) << words;
    all.insert(words);
  }
  EXPECT_EQ(all.size(), 12U);
}

TEST_F(Protocol, AnswersOfTheWrongShapeAreFailures) {
  haveItem("b25l");
  fake_->on("GetSecrets", replying("('no secrets',)"));
  EXPECT_EQ(found(*keychain_, "token"), "status -36");
  fake_->on("SearchItems", replying("(1, 2)"));
  EXPECT_EQ(found(*keychain_, "token"), "status -36");
  fake_->on("SearchItems", replying("(@ao [], @ao [])"));
  fake_->on("Locked", replying("(<'no'>,)"));
  EXPECT_EQ(found(*keychain_, "token"), "status -36");
  fake_->on("Locked", replying("(<false>,)"));
  fake_->on("CreateItem", replying("()"));
  EXPECT_EQ(keychain_->add("token", "ada", bytes("x")), KeychainStatus::io_error);
  fake_->on("SearchItems", replying("([objectpath '/item'], @ao [])"));
  fake_->on("CreateItem", failing("org.freedesktop.DBus.Error.UnknownMethod", "no such thing"));
  EXPECT_EQ(keychain_->replace("token", "ada", bytes("x")), KeychainStatus::io_error);
  fake_->on("SearchItems", replying("(@ao [], [objectpath '/item'])"));
  EXPECT_EQ(found(*keychain_, "token"), "status -25308");
}

TEST_F(Protocol, ALostSessionIsOpenedAgain) {
  int lost = 1;
  fake_->on("CreateItem", [&lost](GDBusMessage* call) {
    return lost-- > 0 ? failing(no_session, "No such session exists")(call)
                      : replying(std::string("(objectpath '") + FakeSecretService::item +
                                 "', objectpath '/')")(call);
  });
  EXPECT_EQ(keychain_->add("token", "ada", bytes("x")), KeychainStatus::ok);
  EXPECT_EQ(fake_->calls("CreateItem"), 2);
  EXPECT_EQ(fake_->calls("OpenSession"), 4);  // each time the encrypted one is declined
}

TEST_F(Protocol, ASessionThatIsLostEveryTimeIsTriedTwice) {
  fake_->on("CreateItem", failing(no_session, "No such session exists"));
  EXPECT_EQ(keychain_->add("token", "ada", bytes("x")), KeychainStatus::io_error);
  EXPECT_EQ(fake_->calls("CreateItem"), 2);
}

TEST_F(Protocol, AnItemThatGoesBetweenSearchAndDeletionIsRemoved) {
  haveItem("b25l");
  fake_->on("Delete", failing("org.freedesktop.Secret.Error.NoSuchObject", "gone"));
  EXPECT_EQ(keychain_->remove("token", "ada"), KeychainStatus::ok);
}

TEST_F(Protocol, AChangeThatMayHaveBeenMadeIsNotMadeTwice) {
  fake_->on("CreateItem", failing("org.freedesktop.DBus.Error.NoReply", "it left"));
  EXPECT_EQ(keychain_->add("token", "ada", bytes("x")), KeychainStatus::io_error);
  EXPECT_EQ(fake_->calls("CreateItem"), 1);
}

TEST_F(Protocol, AnotherServiceInTheFirstOnesPlaceIsAskedAtOnce) {
  haveItem("b25l");
  EXPECT_EQ(found(*keychain_, "token"), "one");
  // The first stays on the bus and would still answer.
  const auto first = std::move(fake_);
  fake_ = std::make_unique<FakeSecretService>(FakeSecretService::Taking::over);
  haveItem("dHdv");
  EXPECT_EQ(found(*keychain_, "token"), "two");
  EXPECT_EQ(fake_->calls("OpenSession"), 2);  // the first one's is not used, though named alike
}

TEST_F(Protocol, AChangeThatIsNotAnsweredDoesNotRespond) {
  fake_->on("CreateItem", [](GDBusMessage*) -> GDBusMessage* { return nullptr; });
  const Stopwatch watch;
  EXPECT_EQ(keychain_->add("token", "ada", bytes("x")), KeychainStatus::not_responding);
  EXPECT_LT(watch.seconds(), 2.5);
}

TEST_F(Protocol, AnUnlockingThatIsNotAnsweredDoesNotRespond) {
  fake_->on("Locked", replying("(<true>,)"));
  fake_->on("Unlock", [](GDBusMessage*) -> GDBusMessage* { return nullptr; });
  const Stopwatch watch;
  EXPECT_EQ(found(*keychain_, "token"), "status -67585");
  EXPECT_LT(watch.seconds(), 2.5);
}

TEST_F(Protocol, ASessionThatIsNotAnsweredDoesNotRespond) {
  fake_->on("OpenSession", [](GDBusMessage*) -> GDBusMessage* { return nullptr; });
  haveItem("b25l");
  const Stopwatch watch;
  EXPECT_EQ(found(*keychain_, "token"), "status -67585");
  EXPECT_LT(watch.seconds(), 2.5);
}

}  // namespace
}  // namespace talvane::testing
