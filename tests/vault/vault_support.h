#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/linux/vault/keychain.h"
#include "tests/support/temporary_folder.h"

namespace talvane {

inline void PrintTo(KeychainStatus status, std::ostream* stream) {
  *stream << static_cast<int>(status);
}

}  // namespace talvane

namespace talvane::test {

using Status = KeychainStatus;

inline const std::string account = "amira";

inline SecretBytes secretOf(std::string_view text) {
  return SecretBytes(Bytes(text.begin(), text.end()));
}

/// The secret as text; nullopt, and the status, when it is not found.
inline std::optional<std::string> secretIn(KeychainService& keychain, const std::string& service,
                                           Status* status = nullptr) {
  SecretBytes secret;
  const Status found = keychain.find(service, account, &secret);
  if (status != nullptr) *status = found;
  if (found != Status::ok) return {};
  return std::string(secret->begin(), secret->end());
}

inline Status statusOf(KeychainService& keychain, const std::string& service) {
  Status status{};
  static_cast<void>(secretIn(keychain, service, &status));
  return status;
}

/// Adds, or replaces, the item.
inline Status store(KeychainService& keychain, const std::string& service, std::string_view text) {
  const Status status = keychain.add(service, account, secretOf(text));
  if (status != Status::duplicate_item) return status;
  return keychain.replace(service, account, secretOf(text));
}

/// A vault in a fresh folder.
class VaultFolder {
 public:
  VaultFolder() : path_(base_ / "data") {}

  [[nodiscard]] const std::string& base() const { return base_.path(); }
  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] std::string vault() const { return path_ + "/vault"; }
  [[nodiscard]] std::string key() const { return path_ + "/vault.key"; }

  [[nodiscard]] std::unique_ptr<KeychainService> open() const { return makeVaultKeychain(path_); }

  /// Stores "secret N" as "token N", N from 0 on.
  void fill(int items) const {
    const auto keychain = open();
    for (int i = 0; i < items; ++i) {
      const std::string number = std::to_string(i);
      ASSERT_EQ(store(*keychain, "token " + number, "secret " + number), Status::ok);
    }
  }

 private:
  TemporaryFolder base_;
  std::string path_;
};

}  // namespace talvane::test
