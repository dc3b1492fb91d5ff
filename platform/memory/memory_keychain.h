#pragma once

#include <map>
#include <string>
#include <utility>

#include "platform/keychain_service.h"

namespace talvane {

/// A keychain in memory, for tests and trials. Set `status` to anything but ok and every call fails
/// with it.
class MemoryKeychain final : public KeychainService {
 public:
  KeychainStatus status = KeychainStatus::ok;
  std::map<std::pair<std::string, std::string>, SecretBytes> items;  // by service and account

  KeychainStatus find(const std::string& service, const std::string& account,
                      SecretBytes* secret) override;
  KeychainStatus add(const std::string& service, const std::string& account,
                     const SecretBytes& secret) override;
  KeychainStatus replace(const std::string& service, const std::string& account,
                         const SecretBytes& secret) override;
  KeychainStatus remove(const std::string& service, const std::string& account) override;
  std::string message(KeychainStatus status) override;
  KeychainDescription describe() override;
};

}  // namespace talvane
