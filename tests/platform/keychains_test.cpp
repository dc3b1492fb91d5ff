// This suite runs in a folder tree of its own, with a fake of the desktop's keychain in it.

#include "platform/keychains.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tests/platform/installed_copy.h"
#include "tests/support/in_child.h"
#include "tests/support/memory_user_defaults.h"
#include "tests/support/private_home.h"

namespace talvane::test {
namespace {

constexpr const char* key = "Keychain";
constexpr const char* desktop = "secret-service";
constexpr const char* vault = "vault";

class KeychainsTest : public testing::Test {
 protected:
  KeychainsTest() {
    environment.unset("FAKE_SECRET_SERVICE_STATUS");
    const auto fresh = makeKeychain(desktop);
    static_cast<void>(fresh->remove("service", "account"));
  }

  void setDesktop(KeychainStatus status) {
    environment.set("FAKE_SECRET_SERVICE_STATUS", std::to_string(static_cast<int>(status)));
  }
  [[nodiscard]] bool vaultExists() const { return exists(home.data() + "/softtoken/vault"); }

  static KeychainStatus addTo(KeychainService& keychain) {
    return keychain.add("service", "account", Bytes{1, 2, 3});
  }
  /// What a keychain of the kind, made anew, says about the item of `addTo`.
  static KeychainStatus lookInto(const char* kind) {
    return makeKeychain(kind)->find("service", "account", nullptr);
  }

  /// Checks that there is no keychain but a sentence for the user.
  static void expectRefused(const UserKeychain& opened) {
    EXPECT_EQ(opened.service, nullptr);
    EXPECT_FALSE(opened.error.empty());
    EXPECT_FALSE(opened.error.ends_with(".")) << opened.error;
  }

  PrivateHome home;
  Environment& environment = home.environment;
  MemoryUserDefaults defaults;
};

TEST_F(KeychainsTest, KindsAreTheDesktopsOwnAndTheVault) {
  EXPECT_EQ(keychainKinds(), (std::vector<std::string>{"secret-service", "vault"}));
}

TEST_F(KeychainsTest, NewUserGetsTheDesktopsOwn) {
  EXPECT_EQ(keychainKindForNewUser(), desktop);
  const UserKeychain opened = openUserKeychain(defaults, "");
  ASSERT_NE(opened.service, nullptr);
  EXPECT_EQ(opened.error, "");
  EXPECT_EQ(opened.kind, desktop);
  EXPECT_FALSE(opened.remembered);
}

TEST_F(KeychainsTest, NewUserWithoutADesktopKeychainGetsTheVault) {
  setDesktop(KeychainStatus::not_available);
  EXPECT_EQ(keychainKindForNewUser(), vault);
  EXPECT_EQ(openUserKeychain(defaults, "").kind, vault);
}

TEST_F(KeychainsTest, NewUserWithADesktopKeychainWithoutCollectionGetsTheVault) {
  setDesktop(KeychainStatus::no_default_keychain);
  EXPECT_EQ(keychainKindForNewUser(), vault);
}

TEST_F(KeychainsTest, DesktopKeychainInTroubleIsNotTakenForNone) {
  for (const KeychainStatus status :
       {KeychainStatus::interaction_not_allowed, KeychainStatus::not_responding,
        KeychainStatus::io_error, KeychainStatus::invalid_keychain}) {
    setDesktop(status);
    EXPECT_EQ(keychainKindForNewUser(), desktop) << static_cast<int>(status);
  }
}

TEST_F(KeychainsTest, VaultIsFoundWhenNothingIsRemembered) {
  ASSERT_EQ(addTo(*makeKeychain(vault)), KeychainStatus::ok);
  EXPECT_EQ(keychainKindForNewUser(), vault);
  const UserKeychain opened = openUserKeychain(defaults, "");
  EXPECT_EQ(opened.kind, vault);
  EXPECT_EQ(opened.service->find("service", "account", nullptr), KeychainStatus::ok);
}

TEST_F(KeychainsTest, VaultThatCannotBeLookedForIsNotTakenForMissing) {
  ASSERT_EQ(addTo(*makeKeychain(vault)), KeychainStatus::ok);
  asOrdinaryUser(home.root(), [&] {
    const std::string folder = home.data() + "/softtoken";
    ASSERT_EQ(chmod(folder.c_str(), 0), 0);
    EXPECT_EQ(keychainKindForNewUser(), vault);
    EXPECT_EQ(chmod(folder.c_str(), 0700), 0);
  });
}

TEST_F(KeychainsTest, LinkToNowhereInTheVaultsPlaceIsNotTakenForMissing) {
  std::filesystem::create_directory(home.data() + "/softtoken");
  std::filesystem::create_symlink("nowhere", home.data() + "/softtoken/vault");
  EXPECT_EQ(keychainKindForNewUser(), vault);
  EXPECT_EQ(lookInto(vault), KeychainStatus::not_available);
}

TEST_F(KeychainsTest, LookingForAKindCreatesNothing) {
  setDesktop(KeychainStatus::not_available);
  EXPECT_EQ(keychainKindForNewUser(), vault);
  const UserKeychain opened = openUserKeychain(defaults, "");
  EXPECT_EQ(opened.service->find("service", "account", nullptr), KeychainStatus::item_not_found);
  EXPECT_EQ(entriesIn(home.data()), 0U);
  EXPECT_EQ(defaults.stored, 0U);
}

TEST_F(KeychainsTest, ChoiceIsRememberedWithTheFirstItem) {
  const UserKeychain opened = openUserKeychain(defaults, vault);
  ASSERT_NE(opened.service, nullptr);
  EXPECT_EQ(opened.service->find("service", "account", nullptr), KeychainStatus::item_not_found);
  EXPECT_EQ(opened.service->remove("service", "account"), KeychainStatus::item_not_found);
  EXPECT_EQ(opened.service->replace("service", "account", Bytes{1}),
            KeychainStatus::item_not_found);
  EXPECT_EQ(defaults.stored, 0U) << "nothing holds tokens yet";
  ASSERT_EQ(addTo(*opened.service), KeychainStatus::ok);
  EXPECT_EQ(defaults.values[key], vault);
  EXPECT_EQ(opened.service->add("service 2", "account", Bytes{1}), KeychainStatus::ok);
  EXPECT_EQ(defaults.stored, 1U);
  EXPECT_EQ(lookInto(vault), KeychainStatus::ok);
}

TEST_F(KeychainsTest, NothingIsStoredWhenTheChoiceCannotBeRemembered) {
  for (const char* kind : {desktop, vault}) {
    defaults.writable = false;
    const UserKeychain opened = openUserKeychain(defaults, kind);
    ASSERT_NE(opened.service, nullptr);
    const KeychainStatus status = addTo(*opened.service);
    EXPECT_EQ(status, KeychainStatus::write_permission);
    const std::string message = opened.service->message(status);
    EXPECT_NE(message.find("Cannot record the choice"), std::string::npos) << message;
    EXPECT_EQ(opened.service->message(KeychainStatus::io_error),
              makeKeychain(kind)->message(KeychainStatus::io_error));
    EXPECT_EQ(lookInto(kind), KeychainStatus::item_not_found);
    EXPECT_FALSE(vaultExists());

    defaults.writable = true;
    EXPECT_EQ(addTo(*opened.service), KeychainStatus::ok) << "once it can";
    EXPECT_EQ(opened.service->message(KeychainStatus::write_permission),
              makeKeychain(kind)->message(KeychainStatus::write_permission));
    defaults.values.clear();
  }
}

TEST_F(KeychainsTest, RememberedChoiceIsTakenWhateverElseThereIs) {
  defaults.values[key] = vault;
  UserKeychain opened = openUserKeychain(defaults, "");
  ASSERT_NE(opened.service, nullptr);
  EXPECT_EQ(opened.kind, vault);
  EXPECT_TRUE(opened.remembered);
  ASSERT_EQ(addTo(*opened.service), KeychainStatus::ok);
  EXPECT_EQ(lookInto(desktop), KeychainStatus::item_not_found);
  EXPECT_EQ(defaults.stored, 0U) << "it is remembered already";

  defaults.values[key] = desktop;
  opened = openUserKeychain(defaults, "");
  ASSERT_NE(opened.service, nullptr);
  EXPECT_EQ(opened.kind, desktop) << "although there is a vault";
  EXPECT_EQ(opened.service->find("service", "account", nullptr), KeychainStatus::item_not_found);
}

TEST_F(KeychainsTest, RememberedKeychainThatIsAwayIsAnErrorAndNotAnotherOne) {
  defaults.values[key] = desktop;
  for (const KeychainStatus status :
       {KeychainStatus::not_available, KeychainStatus::interaction_not_allowed,
        KeychainStatus::not_responding, KeychainStatus::no_default_keychain}) {
    setDesktop(status);
    const UserKeychain opened = openUserKeychain(defaults, "");
    ASSERT_NE(opened.service, nullptr);
    EXPECT_EQ(opened.kind, desktop);
    EXPECT_EQ(opened.service->find("service", "account", nullptr), status);
    EXPECT_EQ(addTo(*opened.service), status);
    EXPECT_EQ(opened.service->replace("service", "account", Bytes{1}), status);
    EXPECT_EQ(opened.service->remove("service", "account"), status);
    EXPECT_EQ(opened.service->message(status), "words of the fake");
    EXPECT_FALSE(vaultExists());
  }
  EXPECT_EQ(defaults.values[key], desktop);
}

TEST_F(KeychainsTest, KeychainThatDoesNotAnswerIsAskedNothingMoreWithinAChange) {
  defaults.values[key] = desktop;
  const auto keychain = makeLazyUserKeychain(defaults, MayAsk::no);
  constexpr auto silent = KeychainStatus::not_responding;
  for (const auto& call : std::vector<std::function<KeychainStatus()>>{
           [&] { return keychain->find("service", "account", nullptr); },
           [&] { return addTo(*keychain); },
           [&] { return keychain->replace("service", "account", Bytes{1}); },
           [&] { return keychain->remove("service", "account"); }}) {
    ASSERT_EQ(keychain->beginChange(), KeychainStatus::ok);
    setDesktop(silent);
    EXPECT_EQ(call(), silent);
    setDesktop(KeychainStatus::ok);  // it would answer again
    EXPECT_EQ(keychain->find("service", "account", nullptr), silent);
    EXPECT_EQ(addTo(*keychain), silent);
    EXPECT_EQ(keychain->replace("service", "account", Bytes{1}), silent);
    EXPECT_EQ(keychain->remove("service", "account"), silent);
    EXPECT_EQ(keychain->endChange(), silent);
    EXPECT_EQ(keychain->find("service", "account", nullptr), KeychainStatus::item_not_found);
  }
  // The next change asks again, and so does one call after another without a change.
  ASSERT_EQ(keychain->beginChange(), KeychainStatus::ok);
  EXPECT_EQ(addTo(*keychain), KeychainStatus::ok);
  EXPECT_EQ(keychain->endChange(), KeychainStatus::ok);
  setDesktop(silent);
  EXPECT_EQ(keychain->find("service", "account", nullptr), silent);
  setDesktop(KeychainStatus::ok);
  EXPECT_EQ(keychain->find("service", "account", nullptr), KeychainStatus::ok);
}

TEST_F(KeychainsTest, KeychainThatDidNotAnswerTheFirstLookIsNotAskedAtOnceAgain) {
  setDesktop(KeychainStatus::not_responding);
  const auto keychain = makeLazyUserKeychain(defaults, MayAsk::no);
  keychain->beginReading("account");  // looks for the first time
  setDesktop(KeychainStatus::ok);
  EXPECT_EQ(keychain->find("service", "account", nullptr), KeychainStatus::not_responding);
  EXPECT_EQ(keychain->find("service", "account", nullptr), KeychainStatus::item_not_found);
  keychain->endReading();
}

TEST_F(KeychainsTest, WishIsTakenByANewUserAndThenRemembered) {
  const UserKeychain opened = openUserKeychain(defaults, vault);
  ASSERT_NE(opened.service, nullptr);
  EXPECT_EQ(opened.kind, vault) << "although the desktop has one";
  EXPECT_FALSE(opened.remembered);
  EXPECT_EQ(defaults.stored, 0U) << "a wish alone decides nothing";
  ASSERT_EQ(addTo(*opened.service), KeychainStatus::ok);
  EXPECT_EQ(openUserKeychain(defaults, "").kind, vault);
}

TEST_F(KeychainsTest, WishThatAgreesIsTaken) {
  defaults.values[key] = vault;
  const UserKeychain opened = openUserKeychain(defaults, vault);
  EXPECT_NE(opened.service, nullptr);
  EXPECT_TRUE(opened.remembered);
}

TEST_F(KeychainsTest, WishThatContradictsIsRefused) {
  for (const auto& [remembered, wish] : {std::pair(vault, desktop), std::pair(desktop, vault)}) {
    defaults.values[key] = remembered;
    const UserKeychain opened = openUserKeychain(defaults, wish);
    expectRefused(opened);
    EXPECT_NE(opened.error.find(remembered), std::string::npos) << opened.error;
    EXPECT_EQ(defaults.values[key], remembered);
  }
}

TEST_F(KeychainsTest, UnknownWishIsRefusedWithTheChoices) {
  for (const char* remembered : {"", vault}) {
    defaults.values.clear();
    if (*remembered != '\0') defaults.values[key] = remembered;
    const UserKeychain opened = openUserKeychain(defaults, "safe");
    expectRefused(opened);
    for (const char* word : {"safe", "secret-service", "vault"}) {
      EXPECT_NE(opened.error.find(word), std::string::npos) << opened.error;
    }
  }
}

TEST_F(KeychainsTest, RememberedKindOfAnotherSystemIsRefused) {
  defaults.values[key] = "keychain";
  for (const char* wish : {"", vault, desktop}) {
    const UserKeychain opened = openUserKeychain(defaults, wish);
    expectRefused(opened);
    EXPECT_NE(opened.error.find("\"keychain\""), std::string::npos) << opened.error;
  }
  EXPECT_EQ(defaults.values[key], "keychain");
}

TEST_F(KeychainsTest, KeychainThatCannotBeChosenSaysWhyToEveryCall) {
  defaults.values[key] = "keychain";
  const auto chosen_later = makeLazyUserKeychain(defaults, MayAsk::no);
  SecretBytes secret;
  chosen_later->beginReading("account");
  EXPECT_EQ(chosen_later->find("service", "account", &secret), KeychainStatus::not_available);
  chosen_later->endReading();
  EXPECT_EQ(chosen_later->beginChange(), KeychainStatus::not_available);
  EXPECT_EQ(addTo(*chosen_later), KeychainStatus::not_available);
  EXPECT_EQ(chosen_later->replace("service", "account", Bytes{1}), KeychainStatus::not_available);
  EXPECT_EQ(chosen_later->remove("service", "account"), KeychainStatus::not_available);
  EXPECT_EQ(chosen_later->endChange(), KeychainStatus::not_available);
  chosen_later->abandonChange();
  EXPECT_EQ(chosen_later->describe().status, KeychainStatus::not_available);
  EXPECT_EQ(chosen_later->message(KeychainStatus::not_available),
            openUserKeychain(defaults, "").error);
  EXPECT_FALSE(vaultExists());
}

TEST_F(KeychainsTest, UnreadableDefaultsDecideNothing) {
  defaults.readable = false;
  for (const char* wish : {"", vault, desktop}) {
    const UserKeychain opened = openUserKeychain(defaults, wish);
    expectRefused(opened);
    EXPECT_FALSE(opened.remembered);
  }
  EXPECT_FALSE(vaultExists());
}

TEST_F(KeychainsTest, DefaultsThatBecomeUnreadableMeanwhileStopTheFirstItem) {
  const UserKeychain opened = openUserKeychain(defaults, vault);
  ASSERT_NE(opened.service, nullptr);
  defaults.readable = false;
  EXPECT_NE(addTo(*opened.service), KeychainStatus::ok);
  EXPECT_FALSE(vaultExists());
}

TEST_F(KeychainsTest, AnotherProgramsChoiceMeanwhileStopsTheFirstItem) {
  const UserKeychain opened = openUserKeychain(defaults, vault);
  ASSERT_NE(opened.service, nullptr);
  defaults.values[key] = desktop;
  EXPECT_NE(addTo(*opened.service), KeychainStatus::ok);
  EXPECT_FALSE(vaultExists());
  EXPECT_EQ(defaults.values[key], desktop);
}

TEST_F(KeychainsTest, SameChoiceOfAnotherProgramMeanwhileDoesNotHinder) {
  const UserKeychain opened = openUserKeychain(defaults, vault);
  ASSERT_NE(opened.service, nullptr);
  defaults.values[key] = vault;
  EXPECT_EQ(addTo(*opened.service), KeychainStatus::ok);
}

TEST_F(KeychainsTest, RunningProgramFollowsAMove) {
  for (const bool lazy : {true, false}) {
    defaults.values[key] = vault;
    std::unique_ptr<KeychainService> keychain = makeLazyUserKeychain(defaults, MayAsk::no);
    if (!lazy) keychain = openUserKeychain(defaults, "").service;
    keychain->beginReading("account");
    EXPECT_EQ(keychain->find("service", "account", nullptr), KeychainStatus::item_not_found);
    keychain->endReading();
    ASSERT_EQ(addTo(*makeKeychain(desktop)), KeychainStatus::ok);
    defaults.values[key] = desktop;
    keychain->beginReading("account");
    EXPECT_EQ(keychain->find("service", "account", nullptr), KeychainStatus::ok);
    keychain->endReading();
    defaults.values[key] = vault;
    ASSERT_EQ(keychain->beginChange(), KeychainStatus::ok);
    EXPECT_EQ(keychain->find("service", "account", nullptr), KeychainStatus::item_not_found);
    keychain->abandonChange();
    EXPECT_EQ(makeKeychain(desktop)->remove("service", "account"), KeychainStatus::ok);
  }
}

TEST_F(KeychainsTest, ItemThatIsMovedDuringAReadingIsNotMissing) {
  defaults.values[key] = vault;
  const auto keychain = makeLazyUserKeychain(defaults, MayAsk::no);
  keychain->beginReading("account");
  defaults.values[key] = desktop;
  const KeychainStatus status = keychain->find("service", "account", nullptr);
  EXPECT_EQ(status, KeychainStatus::not_available);
  EXPECT_EQ(keychain->message(status), "Your tokens were moved to another keychain; try again");
  keychain->endReading();
  keychain->beginReading("account");
  EXPECT_EQ(keychain->find("service", "account", nullptr), KeychainStatus::item_not_found);
  keychain->endReading();
}

TEST_F(KeychainsTest, ItemIsNotMissingWhileTheChoiceCannotBeRead) {
  defaults.values[key] = vault;
  const auto keychain = makeLazyUserKeychain(defaults, MayAsk::no);
  EXPECT_EQ(keychain->find("service", "account", nullptr), KeychainStatus::item_not_found);
  defaults.readable = false;
  EXPECT_EQ(keychain->find("service", "account", nullptr), KeychainStatus::not_available);
  EXPECT_TRUE(keychain->message(KeychainStatus::not_available).starts_with("Cannot read the file"));
}

TEST_F(KeychainsTest, ReadingLooksForAMoveOnce) {
  defaults.values[key] = vault;
  const auto keychain = makeLazyUserKeychain(defaults, MayAsk::no);
  keychain->beginReading("account");
  EXPECT_EQ(keychain->find("service", "account", nullptr), KeychainStatus::item_not_found);
  const std::size_t looks = defaults.looks;
  for (int i = 0; i < 31; ++i) {
    EXPECT_EQ(keychain->find("other", "account", nullptr), KeychainStatus::item_not_found);
  }
  EXPECT_EQ(defaults.looks, looks);
  keychain->endReading();
}

TEST_F(KeychainsTest, TokensStayFoundOverTimeWithTheSystemsDefaults) {
  const auto system = systemUserDefaults();
  setDesktop(KeychainStatus::not_available);
  UserKeychain opened = openUserKeychain(*system, "");
  ASSERT_NE(opened.service, nullptr);
  ASSERT_EQ(addTo(*opened.service), KeychainStatus::ok);
  // The desktop gets a keychain of its own later.
  setDesktop(KeychainStatus::ok);
  opened = openUserKeychain(*systemUserDefaults(), "");
  ASSERT_NE(opened.service, nullptr);
  EXPECT_TRUE(opened.remembered);
  EXPECT_EQ(opened.kind, vault);
  EXPECT_EQ(opened.service->find("service", "account", nullptr), KeychainStatus::ok);
}

TEST_F(KeychainsTest, DesktopKeychainWhosePartIsMissingIsNotAvailable) {
  const InstalledCopy copy;
  const std::string said = copy.outputOf("look");
  EXPECT_EQ(said.substr(0, said.find('\n')), "-25291 -25291 vault");
  EXPECT_NE(said.find("install"), std::string::npos) << said;
}

TEST_F(KeychainsTest, DesktopKeychainWhosePartIsSomethingElseIsNotAvailable) {
  const InstalledCopy copy;
  std::filesystem::create_directories(copy.root() + "/lib/softtoken");
  writeFile(copy.root() + "/lib/softtoken/secret-service.so", "not a library");
  const std::string said = copy.outputOf("look");
  EXPECT_EQ(said.substr(0, said.find('\n')), "-25291 -25291 vault");
}

}  // namespace
}  // namespace talvane::test
