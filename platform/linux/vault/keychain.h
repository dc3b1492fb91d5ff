#pragma once

#include <memory>
#include <string>

#include "platform/keychain_service.h"

namespace talvane {

/// The keychain of a desktop that has none: the file `vault` in the folder, sealed as a whole under
/// the key in `vault.key` beside it; both of mode 0600, the folder 0700. Whoever can read both can
/// read the secrets.
///
/// The first add or beginChange creates the folder, the first change that is kept the files, no
/// read anything. A change, of one step or of all between beginChange and endChange, replaces the
/// file in one step and is on the disk when the call returns; one that changed nothing writes
/// nothing. Any number of processes may use the vault: those that change it take turns by a lock on
/// the folder, those that read need none, and see each change at once.
///
/// invalid_keychain: the vault or its key is damaged or something else, or the key is missing
/// beside a vault. not_available: another user's, or a link in a file's place. Nothing is written
/// over then.
std::unique_ptr<KeychainService> makeVaultKeychain(std::string folder);

}  // namespace talvane
