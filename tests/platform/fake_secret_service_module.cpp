// Stands for the module of the desktop's own keychain. FAKE_SECRET_SERVICE_STATUS is the status
// that every call of it ends in; without that it works, in memory.

#include <cstdlib>

#include "platform/memory/memory_keychain.h"

namespace talvane::test {
namespace {

class FakeSecretService final : public KeychainService {
 public:
  KeychainStatus find(const std::string& service, const std::string& account,
                      SecretBytes* secret) override {
    return status() == KeychainStatus::ok ? shared().find(service, account, secret) : status();
  }
  KeychainStatus add(const std::string& service, const std::string& account,
                     const SecretBytes& secret) override {
    return status() == KeychainStatus::ok ? shared().add(service, account, secret) : status();
  }
  KeychainStatus replace(const std::string& service, const std::string& account,
                         const SecretBytes& secret) override {
    return status() == KeychainStatus::ok ? shared().replace(service, account, secret) : status();
  }
  KeychainStatus remove(const std::string& service, const std::string& account) override {
    return status() == KeychainStatus::ok ? shared().remove(service, account) : status();
  }
  std::string message(KeychainStatus) override { return "words of the fake"; }
  KeychainDescription describe() override { return {"fake", "", status()}; }

 private:
  static KeychainStatus status() {
    const char* value = std::getenv("FAKE_SECRET_SERVICE_STATUS");
    return static_cast<KeychainStatus>(value == nullptr ? 0 : std::atoi(value));
  }
  // Of all keychains of this module, as a desktop's own is of all its programs.
  static MemoryKeychain& shared() {
    static MemoryKeychain keychain;
    return keychain;
  }
};

}  // namespace
}  // namespace talvane::test

extern "C" __attribute__((visibility("default"))) talvane::KeychainService*
softtoken_make_keychain() {
  return new talvane::test::FakeSecretService;
}
