#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include "platform/folders.h"
#include "platform/gathered_changes.h"
#include "platform/keychain_service.h"
#include "platform/keychains.h"
#include "platform/linux/vault/keychain.h"
#include "platform/modules.h"
#include "platform/translation.h"
#include "platform/unavailable_keychain.h"

namespace talvane {
namespace {

constexpr const char* secret_service = "secret-service";
constexpr const char* vault = "vault";

std::unique_ptr<KeychainService> makeSecretService() {
  std::string error;
  using Factory = KeychainService* (*)();
  const auto factory =
      reinterpret_cast<Factory>(moduleFunction(secret_service, "softtoken_make_keychain", &error));
  if (factory == nullptr) {
    return std::make_unique<UnavailableKeychain>(
        "Secret Service", translatedWith("Cannot load the module for the Secret Service ({}); "
                                         "reinstall the program, with libsecret",
                                         error));
  }
  return std::unique_ptr<KeychainService>(factory());
}

}  // namespace

std::vector<std::string> keychainKinds() {
  return {secret_service, vault};
}

std::unique_ptr<KeychainService> makeKeychain(const std::string& kind, MayAsk /*may_ask*/) {
  if (kind == vault) return makeVaultKeychain(dataFolder());
  return std::make_unique<GatheredChanges>(makeSecretService());
}

std::string keychainKindForNewUser(KeychainStatus* status) {
  if (status != nullptr) *status = KeychainStatus::ok;
  // If the vault cannot be looked for, or is a link, the vault itself reports what is wrong.
  struct stat file {};
  if (lstat((dataFolder() + "/vault").c_str(), &file) == 0 || errno != ENOENT) return vault;
  // A Secret Service without a default collection gets one only by asking the user.
  const KeychainStatus seen = makeSecretService()->describe().status;
  if (seen == KeychainStatus::not_available || seen == KeychainStatus::no_default_keychain) {
    return vault;
  }
  if (status != nullptr) *status = seen;
  return secret_service;
}

}  // namespace talvane
