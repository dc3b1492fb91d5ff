#pragma once

// The vault's key, and what it seals: XChaCha20-Poly1305 with a fresh random nonce, bound to the
// item's service and account, so that no sealed secret passes for another item's.

#include <optional>
#include <string_view>

#include "platform/keychain_service.h"
#include "platform/linux/vault/files.h"

namespace talvane {

class VaultKey {
 public:
  static constexpr std::size_t size = 32;

  /// Reads the vault's key file. item_not_found: there is none. invalid_keychain: it holds no key.
  static VaultOutcome read(const VaultPaths& paths, std::optional<VaultKey>* key);
  /// Creates the vault's key file with a new key, unless there is one.
  static VaultOutcome create(const VaultPaths& paths);

  /// Nonce and sealed secret.
  [[nodiscard]] Bytes seal(std::string_view service, std::string_view account,
                           const Bytes& secret) const;
  /// False: not sealed with this key for this service and account, or altered since.
  [[nodiscard]] bool open(std::string_view service, std::string_view account, const Bytes& sealed,
                          SecretBytes* secret) const;

 private:
  explicit VaultKey(SecretBytes bytes) : bytes_(std::move(bytes)) {}

  SecretBytes bytes_;
};

}  // namespace talvane
