#pragma once

#include <memory>
#include <string>

#include "platform/keychain_service.h"

namespace talvane {

/// The keychain of a desktop that has none: `vault.sqlite` in the folder, each secret sealed under
/// the key in `vault.key` beside it; both of mode 0600. Whoever can read both can read the secrets.
///
/// Folder (mode 0700), key and database are created by the first add or beginChange, never by a
/// read. Each change is one transaction and is on the disk when the call returns; changes between
/// beginChange and endChange are one together, and the first that fails, other than by
/// duplicate_item or item_not_found, undoes them all. Any number of processes may use the vault.
///
/// invalid_keychain: the database is damaged or not a vault, or the key is not the one its items
/// were sealed with. Nothing is written over then.
std::unique_ptr<KeychainService> makeVaultKeychain(std::string folder);

}  // namespace talvane
