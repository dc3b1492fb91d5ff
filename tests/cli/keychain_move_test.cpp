// softtoken-cli keychain, between the vault and a Secret Service on a bus of its own.

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/cli/cli_home.h"
#include "tests/secret_service/private_session.h"

namespace talvane::test {
namespace {

class KeychainMoves : public ::testing::Test {
 protected:
  KeychainMoves() { home.keychain.clear(); }
  void startKeyring() {
    session_.startBus();
    session_.startDaemon("open sesame");
    for (std::string& entry : home.environment) {
      if (entry.starts_with("DBUS_SESSION_BUS_ADDRESS=")) {
        entry = std::string("DBUS_SESSION_BUS_ADDRESS=") + std::getenv("DBUS_SESSION_BUS_ADDRESS");
      }
    }
  }
  void addToVault(const Strings& names) {
    home.keychain = "vault";
    for (const std::string& name : names) home.add(name);
    home.keychain.clear();
  }
  [[nodiscard]] nlohmann::json shown() const {
    const Ended ended = home.run({"keychain", "--json"});
    expectSuccess(ended);
    return nlohmann::json::parse(ended.out, nullptr, false);
  }

  CliHome home;
  talvane::testing::PrivateSession session_;
};

TEST_F(KeychainMoves, ShowsWhereTheTokensLie) {
  EXPECT_EQ(home.run({"keychain"}).out, "vault: vault at " + home.vault() +
                                            ", 0 tokens\nNot decided yet; adding the first token "
                                            "decides it.\n");
  addToVault({"A"});
  EXPECT_EQ(home.run({"keychain"}).out, "vault: vault at " + home.vault() + ", 1 token\n");
  addToVault({"B"});
  EXPECT_EQ(shown(), (nlohmann::json{{"keychain", "vault"},
                                     {"chosen", true},
                                     {"location", home.vault()},
                                     {"tokens", 2},
                                     {"leftovers", nullptr}}));
}

TEST_F(KeychainMoves, ToTheSecretServiceAndBack) {
  addToVault({"A", "B", "C"});
  startKeyring();
  const auto [before, at] = inOneStep(30, [&] { return home.run({"code", "B"}).out; });
  Ended ended = home.run({"keychain", "secret-service"});
  expectSuccess(ended);
  EXPECT_EQ(ended.out, "Moved 3 tokens from vault to secret-service.\n");
  EXPECT_EQ(home.names(), (Strings{"A", "B", "C"}));
  EXPECT_EQ(shown().at("keychain"), "secret-service");
  EXPECT_EQ(shown().at("tokens"), 3);
  const auto [after, later] = inOneStep(30, [&] { return home.run({"code", "B"}).out; });
  EXPECT_EQ(after.substr(0, 6), oathPasscode(seed_16, 30, later));
  home.add("D");
  ended = home.run({"keychain", "vault"});
  expectSuccess(ended);
  EXPECT_EQ(ended.out, "Moved 4 tokens from secret-service to vault.\n");
  EXPECT_EQ(home.names(), (Strings{"A", "B", "C", "D"}));
  // Nothing is left there: another choice finds none.
  const std::string choice = readFile(home.choiceFile());
  EXPECT_EQ(choice.find("KeychainMove"), std::string::npos) << choice;
  std::filesystem::remove(home.choiceFile());
  home.keychain = "secret-service";
  EXPECT_EQ(home.names(), Strings());
}

TEST_F(KeychainMoves, WithoutASecretServiceAllStaysAsItWas) {
  addToVault({"A"});
  const auto before = home.files();
  expectFailure(home.run({"keychain", "secret-service"}), 4, "Secret Service");
  EXPECT_EQ(home.changedSince(before), Strings());
}

TEST_F(KeychainMoves, WhereTheyAreAlready) {
  addToVault({"A"});
  const Ended ended = home.run({"keychain", "vault"});
  expectSuccess(ended);
  EXPECT_EQ(ended.out, "The tokens are in vault.\n");
  EXPECT_EQ(home.names(), Strings{"A"});
}

TEST_F(KeychainMoves, OtherTokensThereAreNotWrittenOver) {
  startKeyring();
  home.keychain = "secret-service";
  home.add("There");
  home.keychain.clear();
  const std::string choice = readFile(home.choiceFile());
  std::filesystem::remove(home.choiceFile());
  addToVault({"Here"});
  expectFailure(home.run({"keychain", "secret-service"}), 4, "holds other tokens already");
  EXPECT_EQ(home.names(), Strings{"Here"});
  writeFile(home.choiceFile(), choice);
  EXPECT_EQ(home.names(), Strings{"There"});
}

TEST_F(KeychainMoves, MoveThatWasCutShortIsTold) {
  addToVault({"A"});
  startKeyring();
  writeFile(home.choiceFile(), "[softtoken]\nKeychain=vault\nKeychainMove=to secret-service\n");
  EXPECT_NE(home.run({"keychain"})
                .out.find("run `softtoken-cli keychain secret-service` to finish "
                          "it"),
            std::string::npos);
  Ended doctor = home.run({"doctor"});
  EXPECT_EQ(doctor.exit_code, 1);
  EXPECT_NE(doctor.out.find("!! keychain move"), std::string::npos) << doctor.out;
  expectSuccess(home.run({"keychain", "secret-service"}));
  writeFile(home.choiceFile(), "[softtoken]\nKeychain=secret-service\nKeychainMove=from vault\n");
  EXPECT_NE(home.run({"keychain"})
                .out.find("run `softtoken-cli keychain secret-service` to delete "
                          "them"),
            std::string::npos);
  expectSuccess(home.run({"keychain", "secret-service"}));
  EXPECT_EQ(home.names(), Strings{"A"});
  EXPECT_EQ(home.run({"doctor"}).out.find("keychain move"), std::string::npos);
}

TEST_F(KeychainMoves, UnknownKindIsUsage) {
  expectFailure(home.run({"keychain", "wallet"}), 2, "vault");
}

}  // namespace
}  // namespace talvane::test
