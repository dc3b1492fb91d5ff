#pragma once

#include <cstdint>
#include <string>

namespace talvane {

/// Two 20-bit values as eight base32 characters, the first value's bits first: the form of seed
/// hashes and response codes.
std::string packedPair(std::uint32_t first, std::uint32_t second);

}  // namespace talvane
