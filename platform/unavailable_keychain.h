#pragma once

#include <string>

#include "platform/keychain_service.h"

namespace talvane {

/// Stands for a missing keychain: every call returns not_available, and the message says why.
class UnavailableKeychain final : public KeychainService {
 public:
  UnavailableKeychain(std::string name, std::string reason);

  KeychainStatus find(const std::string& service, const std::string& account,
                      SecretBytes* secret) override;
  KeychainStatus add(const std::string& service, const std::string& account,
                     const SecretBytes& secret) override;
  KeychainStatus replace(const std::string& service, const std::string& account,
                         const SecretBytes& secret) override;
  KeychainStatus remove(const std::string& service, const std::string& account) override;
  std::string message(KeychainStatus status) override;
  KeychainDescription describe() override;

 private:
  std::string name_;
  std::string reason_;
};

}  // namespace talvane
