#pragma once

// Base32 in the alphabet of RFC 4648, section 6, without padding. Seeds that people type are read
// leniently: lower case, and the digits 0, 1 and 8 as the letters O, I and B.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace talvane {

/// Eight characters for every started group of five bytes; the bits that the last group lacks are
/// zero. Never writes "=".
std::string base32_encode(std::span<const std::uint8_t> bytes);

/// Five bytes for every eight characters: writes as many of them as fit into `bytes`, and returns
/// how many there are in all. nullopt when the length is not a multiple of eight, or a character is
/// neither an ASCII letter nor a digit; then some may have been written.
std::optional<std::size_t> base32_decode(std::string_view text, std::span<std::uint8_t> bytes);

/// The value of one character, 0 to 31. "9" has the value 33: the extra bit lands in a neighbour or
/// is shifted out, and stays so for the sake of seeds already in use. Sets bit 0 of `error` for a
/// character it cannot read.
std::uint8_t base32_char_value(char character, std::uint8_t& error);

}  // namespace talvane
