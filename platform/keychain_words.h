#pragma once

#include <string>

#include "platform/keychain_service.h"

namespace talvane {

/// The sentence for a keychain that has nothing more to say of the status: what happened and what
/// to do, without a final full stop. `keychain` begins it, as "The embedded vault /a/path".
std::string keychainWords(const std::string& keychain, KeychainStatus status);

}  // namespace talvane
