#pragma once

#include <string>

#include "platform/keychain_service.h"
#include "platform/translation.h"

namespace talvane {

/// A sentence for the status that says what happened and what to do, without a full stop. It begins
/// with `keychain`, for example "The keychain /a/path".
std::string keychainWords(const std::string& keychain, KeychainStatus status);

/// The keychain's name, and where it is.
Words nameAndPlace(const KeychainDescription& keychain);

/// The keychain's own message for the status.
Words messageFor(KeychainService& keychain, KeychainStatus status);

/// The same, followed by the status's number in brackets.
Words messageWithCode(KeychainService& keychain, KeychainStatus status);

}  // namespace talvane
