#include "engine/base32.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace talvane {
namespace {

constexpr std::size_t group_bytes = 5;
constexpr std::size_t group_characters = 8;

// The value of a character that stands for none.
constexpr std::uint8_t unknown = 0xFF;

constexpr std::uint8_t valueOf(unsigned code) {
  if (code >= 'a' && code <= 'z') return static_cast<std::uint8_t>(code - 'a');
  if (code >= 'A' && code <= 'Z') return static_cast<std::uint8_t>(code - 'A');
  if (code < '0' || code > '9') return unknown;
  switch (code) {
    case '0':
      return 'O' - 'A';
    case '1':
      return 'I' - 'A';
    case '8':
      return 'B' - 'A';
    default:
      return static_cast<std::uint8_t>(code - 24);
  }
}

constexpr auto values = [] {
  std::array<std::uint8_t, 256> table{};
  for (unsigned code = 0; code < table.size(); ++code) table[code] = valueOf(code);
  return table;
}();

// All 40 bits of a group at once. The sixth bit that the value of "9" has falls on the lowest bit
// of the character before, or above the group, just as it does byte by byte. nullopt: an unknown
// character.
std::optional<std::uint64_t> decodedGroup(std::string_view group) {
  std::uint64_t bits = 0;
  unsigned all = 0;
  for (const char character : group) {
    const unsigned value = values[static_cast<unsigned char>(character)];
    all |= value;
    bits = bits << 5 | value;
  }
  if (all >= 64) return std::nullopt;
  return bits;
}

}  // namespace

std::string base32_encode(std::span<const std::uint8_t> bytes) {
  std::string text;
  text.reserve((bytes.size() + group_bytes - 1) / group_bytes * group_characters);
  for (std::size_t start = 0; start < bytes.size(); start += group_bytes) {
    std::uint64_t group = 0;
    for (std::size_t i = 0; i < group_bytes; ++i) {
      group = group << 8 | (start + i < bytes.size() ? bytes[start + i] : 0U);
    }
    for (int shift = 35; shift >= 0; shift -= 5) {
      const auto value = static_cast<char>(group >> shift & 31U);
      text += static_cast<char>(value < 26 ? 'A' + value : value + 24);
    }
  }
  return text;
}

std::optional<std::size_t> base32_decode(std::string_view text, std::span<std::uint8_t> bytes) {
  if (text.size() % group_characters != 0) return std::nullopt;
  std::size_t written = 0;
  for (std::size_t start = 0; start < text.size(); start += group_characters) {
    const auto bits = decodedGroup(text.substr(start, group_characters));
    if (!bits) return std::nullopt;
    for (int shift = 32; shift >= 0 && written < bytes.size(); shift -= 8) {
      bytes[written++] = static_cast<std::uint8_t>(*bits >> shift);
    }
  }
  return text.size() / group_characters * group_bytes;
}

std::uint8_t base32_char_value(char character, std::uint8_t& error) {
  const std::uint8_t value = values[static_cast<unsigned char>(character)];
  if (value != unknown) return value;
  error |= 1U;
  return 0;
}

}  // namespace talvane
