#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "engine/vane.h"
#include "platform/vaneinterface.h"

namespace talvane {

/// Deletes the tokens at the positions whose flag is set through the engine, whose gateway is
/// `gateway`. nullopt: they are gone; otherwise why not all of them are, for the user. Call it
/// within a StoreChange, which is to be given up then.
std::optional<std::string> deleteStoredTokens(
    vaneinterface& gateway, std::span<const std::uint8_t, vane::max_tokens> selected);

}  // namespace talvane
