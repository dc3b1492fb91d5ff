#include "engine/base32.h"

#include <algorithm>
#include <array>

namespace talvane {
namespace {

constexpr std::size_t group_bytes = 5;
constexpr std::size_t group_characters = 8;

std::string_view upToNul(std::string_view text) {
  return text.substr(0, text.find('\0'));
}

constexpr std::uint8_t low8(unsigned value) {
  return static_cast<std::uint8_t>(value & 0xFFU);
}

std::array<std::uint8_t, group_bytes> decodeGroup(std::string_view group, std::uint8_t& error) {
  std::array<unsigned, group_characters> c{};
  for (std::size_t i = 0; i < group_characters; ++i) c[i] = base32_char_value(group[i], error);
  return {low8(c[0] << 3 | c[1] >> 2), low8(c[1] << 6 | c[2] << 1 | c[3] >> 4),
          low8(c[3] << 4 | c[4] >> 1), low8(c[4] << 7 | c[5] << 2 | c[6] >> 3),
          low8(c[6] << 5 | c[7])};
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
  text = upToNul(text);
  if (text.size() % group_characters != 0) return std::nullopt;
  std::size_t written = 0;
  for (std::size_t start = 0; start < text.size(); start += group_characters) {
    std::uint8_t error = 0;
    for (const std::uint8_t byte : decodeGroup(text.substr(start, group_characters), error)) {
      if (written < bytes.size()) bytes[written++] = byte;
    }
    if (error != 0) return std::nullopt;
  }
  return text.size() / group_characters * group_bytes;
}

std::optional<std::vector<std::uint8_t>> base32_decode(std::string_view text) {
  std::vector<std::uint8_t> bytes(upToNul(text).size() / group_characters * group_bytes);
  if (!base32_decode(text, bytes)) return std::nullopt;
  return bytes;
}

std::uint8_t base32_char_value(char character, std::uint8_t& error) {
  const auto code = static_cast<unsigned char>(character);
  if (code >= 'a' && code <= 'z') return static_cast<std::uint8_t>(code - 'a');
  if (code >= 'A' && code <= 'Z') return static_cast<std::uint8_t>(code - 'A');
  if (code < '0' || code > '9') {
    error |= 1U;
    return 0;
  }
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

}  // namespace talvane
