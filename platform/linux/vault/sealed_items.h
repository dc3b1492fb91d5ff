#pragma once

// The vault's file: a header of 12 bytes, "STVAULT\n" and the version, 1; a random nonce of 24
// bytes; and the packed items, sealed by XChaCha20-Poly1305 with the header as associated data. A
// packed item is its service, account and secret, each preceded by its length. All numbers are
// unsigned 32-bit integers, low byte first.

#include <cstddef>
#include <map>
#include <string>
#include <utility>

#include "engine/gateway.h"
#include "platform/keychain_service.h"

namespace talvane {

/// By service and account.
using VaultItems = std::map<std::pair<std::string, std::string>, SecretBytes>;

constexpr std::size_t vault_key_size = 32;
/// Far more than 32 records need.
constexpr std::size_t largest_vault = 16 * 1024 * 1024;

/// Initialises the encryption; everything below but packing needs it. False if that fails.
[[nodiscard]] bool sealingReady();
[[nodiscard]] SecretBytes newVaultKey();

[[nodiscard]] SecretBytes packItems(const VaultItems& items);
/// Returns false if the bytes are not packed items.
[[nodiscard]] bool unpackItems(const SecretBytes& packed, VaultItems* items);

/// The whole file for these packed items.
[[nodiscard]] Bytes seal(const SecretBytes& packed, const SecretBytes& key);
/// Whether the file has our header, of this version, and the least length.
[[nodiscard]] bool hasVaultHeader(const Bytes& file);
/// `file` must have our header. Returns false if the file or the key is damaged, or if they do not
/// belong together.
[[nodiscard]] bool unseal(const Bytes& file, const SecretBytes& key, SecretBytes* packed);

}  // namespace talvane
