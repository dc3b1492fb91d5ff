#include <sys/stat.h>

#include <cerrno>

#include "platform/folders.h"
#include "platform/keychains.h"
#include "platform/linux/vault/keychain.h"
#include "platform/modules.h"
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
        "Secret Service", "The part for the Secret Service cannot be loaded (" + error +
                              "); install the program again, with libsecret");
  }
  return std::unique_ptr<KeychainService>(factory());
}

}  // namespace

std::vector<std::string> keychainKinds() {
  return {secret_service, vault};
}

std::unique_ptr<KeychainService> makeKeychain(const std::string& kind) {
  return kind == vault ? makeVaultKeychain(dataFolder()) : makeSecretService();
}

std::string keychainKindForNewUser(KeychainStatus* status) {
  if (status != nullptr) *status = KeychainStatus::ok;
  // A vault that cannot be looked for, or a link in its place, will say what is wrong.
  struct stat file {};
  if (lstat((dataFolder() + "/vault").c_str(), &file) == 0 || errno != ENOENT) return vault;
  // One that holds no collection to store into cannot be given one without asking the user.
  const KeychainStatus seen = makeSecretService()->describe().status;
  if (seen == KeychainStatus::not_available || seen == KeychainStatus::no_default_keychain) {
    return vault;
  }
  if (status != nullptr) *status = seen;
  return secret_service;
}

}  // namespace talvane
