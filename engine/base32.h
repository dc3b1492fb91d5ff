#pragma once

// Base32 in the alphabet of RFC 4648, section 6, without padding. Typed seeds are read leniently:
// in lower case too, and with the digits 0, 1 and 8 for the letters O, I and B.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace talvane {

/// Writes eight characters for every group of five bytes, the last one padded with zero bits. Never
/// writes "=".
std::string base32_encode(std::span<const std::uint8_t> bytes);

/// Decodes five bytes from every eight characters. Writes as many as fit into `bytes` and returns
/// their total number. Returns nullopt, perhaps after writing some, if the length is not a multiple
/// of eight or a character is neither an ASCII letter nor a digit.
std::optional<std::size_t> base32_decode(std::string_view text, std::span<std::uint8_t> bytes);

/// The value of one character, 0 to 31. "9" has the value 33: the extra bit goes to a neighbour or
/// is shifted out. Seeds in use rely on that. Sets bit 0 of `error` for a character it cannot read.
std::uint8_t base32_char_value(char character, std::uint8_t& error);

}  // namespace talvane
