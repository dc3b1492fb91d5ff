// Stands for the module of the desktop's own keychain. FAKE_SECRET_SERVICE_STATUS is the status
// that every call of it ends in; without that it works, in memory.

#include <cstdlib>
#include <map>
#include <utility>

#include "platform/keychain_service.h"

namespace talvane::test {
namespace {

class FakeSecretService final : public KeychainService {
 public:
  KeychainStatus find(const std::string& service, const std::string& account,
                      SecretBytes* secret) override {
    if (status() != KeychainStatus::ok) return status();
    const auto item = items().find({service, account});
    if (item == items().end()) return KeychainStatus::item_not_found;
    if (secret != nullptr) *secret = item->second;
    return KeychainStatus::ok;
  }
  KeychainStatus add(const std::string& service, const std::string& account,
                     const SecretBytes& secret) override {
    if (status() != KeychainStatus::ok) return status();
    items()[{service, account}] = secret;
    return KeychainStatus::ok;
  }
  KeychainStatus replace(const std::string& service, const std::string& account,
                         const SecretBytes& secret) override {
    return add(service, account, secret);
  }
  KeychainStatus remove(const std::string& service, const std::string& account) override {
    if (status() != KeychainStatus::ok) return status();
    return items().erase({service, account}) == 1 ? KeychainStatus::ok
                                                  : KeychainStatus::item_not_found;
  }
  std::string message(KeychainStatus) override { return "words of the fake"; }
  KeychainDescription describe() override { return {"fake", "", status()}; }

 private:
  using Items = std::map<std::pair<std::string, std::string>, SecretBytes>;

  static KeychainStatus status() {
    const char* value = std::getenv("FAKE_SECRET_SERVICE_STATUS");
    return static_cast<KeychainStatus>(value == nullptr ? 0 : std::atoi(value));
  }
  // Shared by all keychains of this module, as a desktop's own is by all its programs.
  static Items& items() {
    static Items items;
    return items;
  }
};

}  // namespace
}  // namespace talvane::test

extern "C" __attribute__((visibility("default"))) talvane::KeychainService*
softtoken_make_keychain() {
  return new talvane::test::FakeSecretService;
}
