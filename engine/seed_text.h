#pragma once

// The text form of seeds, and of the codes made from them.

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/cleared.h"

namespace talvane {

/// A 13-character seed padded to the 16 characters that base32 needs; any other seed unchanged.
Cleared<std::string> paddedSeed(std::string_view seed);

/// Two 20-bit values as eight base32 characters, the first value's bits first: the form of seed
/// hashes and response codes.
std::string packedPair(std::uint32_t first, std::uint32_t second);

}  // namespace talvane
