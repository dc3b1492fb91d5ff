#include <memory>
#include <string>
#include <vector>

#include "platform/gathered_changes.h"
#include "platform/keychain_service.h"
#include "platform/keychains.h"
#include "platform/macos/keychain_macos.h"

namespace talvane {
namespace {

constexpr const char* keychain = "keychain";

}  // namespace

std::vector<std::string> keychainKinds() {
  return {keychain};
}

std::unique_ptr<KeychainService> makeKeychain(const std::string& /*kind*/, MayAsk may_ask) {
  return std::make_unique<GatheredChanges>(makeSystemKeychain(may_ask));
}

std::string keychainKindForNewUser(KeychainStatus* status) {
  if (status != nullptr) *status = KeychainStatus::ok;
  return keychain;
}

}  // namespace talvane
