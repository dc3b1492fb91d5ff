#pragma once

#include <string>

#include "platform/keychain_service.h"
#include "platform/translation.h"

namespace talvane {

/// A sentence for the status that says what happened and what to do, without a full stop. It begins
/// with `keychain`, for example "The keychain /a/path".
std::string keychainWords(const std::string& keychain, KeychainStatus status);

/// The keychain's own message for the status, followed by the status's number in brackets.
Words messageWithCode(KeychainService& keychain, KeychainStatus status);

}  // namespace talvane
