#pragma once

#include <memory>

#include "platform/keychain_service.h"

namespace talvane {

/// The user's default keychain, one generic password per item. Statuses are the system's own. It
/// cannot replace an item in one step: if the new one is refused, it restores the old one.
std::unique_ptr<KeychainService> makeSystemKeychain(MayAsk may_ask);

}  // namespace talvane
