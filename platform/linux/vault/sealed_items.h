#pragma once

// The vault's file: a header of 12 bytes, "STVAULT\n" and the version, 1; a random nonce of 24
// bytes; and the packed items, sealed by XChaCha20-Poly1305 with the header as associated data.
// Packed, an item is its service, account and secret, each behind its length. All numbers are
// unsigned, of 32 bits, low byte first.

#include <map>
#include <string>
#include <utility>

#include "platform/keychain_service.h"

namespace talvane {

/// By service and account.
using VaultItems = std::map<std::pair<std::string, std::string>, SecretBytes>;

constexpr std::size_t vault_key_size = 32;
/// Far above 32 records.
constexpr std::size_t largest_vault = 16 * 1024 * 1024;

/// Starts the encryption, which everything below but packing relies on.
[[nodiscard]] bool sealingReady();
[[nodiscard]] SecretBytes newVaultKey();

[[nodiscard]] SecretBytes packItems(const VaultItems& items);
/// False: these are no packed items.
[[nodiscard]] bool unpackItems(const SecretBytes& packed, VaultItems* items);

/// The whole file for packed items.
[[nodiscard]] Bytes seal(const SecretBytes& packed, const SecretBytes& key);
/// Whether the file begins, and is long enough, as one of ours of this version.
[[nodiscard]] bool hasVaultHeader(const Bytes& file);
/// False: the file, which has our header, or the key is damaged, or they do not belong together.
[[nodiscard]] bool unseal(const Bytes& file, const SecretBytes& key, SecretBytes* packed);

}  // namespace talvane
