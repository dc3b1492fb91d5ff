#pragma once

#include <memory>
#include <string>

#include "platform/keychain_service.h"

namespace talvane {

/// The keychain for a desktop without one: the file `vault` in the folder, encrypted as a whole
/// with the key in `vault.key` beside it. The files have mode 0600, the folder 0700. Whoever can
/// read both files can read the secrets.
///
/// The first add or beginChange creates the folder; the first committed change creates the files;
/// reading creates nothing. A change is one call, or all calls between beginChange and endChange.
/// It replaces the file in one step and is on the disk when the call returns. A change without
/// effect writes nothing. Any number of processes may use the vault: writers take turns by a lock
/// on the folder; readers need no lock and see each change at once.
///
/// invalid_keychain: the vault or its key is damaged or not ours, or the key of a vault is missing.
/// not_available: a file belongs to another user or is a link. Either way nothing is overwritten.
std::unique_ptr<KeychainService> makeVaultKeychain(std::string folder);

}  // namespace talvane
