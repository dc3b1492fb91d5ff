#pragma once

#include <memory>

#include "platform/keychain_service.h"

namespace talvane {

/// The user's default keychain, one generic password per item. Statuses are the system's own. It
/// cannot replace an item in one step: when the new one is not taken, the old one is put back.
std::unique_ptr<KeychainService> makeSystemKeychain();

}  // namespace talvane
