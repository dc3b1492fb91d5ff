#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "engine/base32.h"
#include "engine/cleared.h"
#include "engine/hmac_sha1.h"
#include "engine/text.h"
#include "engine/vane.h"

namespace talvane {
namespace {

// Passcodes are made from this many bytes of the seed, whatever its length.
constexpr std::size_t key_size = 10;
// HMAC fills a key up with zeros (RFC 2104, section 2): one of whole vectors is quicker to take in.
constexpr std::size_t filled_size = 16;

enum class Decoded : std::uint8_t { yes, not_ascii, not_base32 };

Decoded decodeSeed(std::string_view seed, std::span<std::uint8_t, filled_size> key) {
  const std::span<std::uint8_t> decoded = key.first(key_size);
  if (base32_decode(seed, decoded)) return Decoded::yes;
  if (!isAscii(seed)) return Decoded::not_ascii;
  // As a C string the seed ends at its first NUL.
  std::fill(key.begin(), key.end(), std::uint8_t{0});
  const std::size_t end = seed.find('\0');
  return end != std::string_view::npos && base32_decode(seed.substr(0, end), decoded)
             ? Decoded::yes
             : Decoded::not_base32;
}

std::string passcodeOf(std::span<std::uint8_t, filled_size> key, std::int64_t counter) {
  std::string passcode = vane::HOTP_getPasscode(key, static_cast<std::uint64_t>(counter));
  clearMemory(key.data(), key.size());
  return passcode;
}

}  // namespace

std::optional<std::string> vane::GeneratePasscode(std::string_view seed, std::int64_t counter) {
  log("  vane: gp: begin: \"{}\" {}", seed, counter);
  alignas(filled_size) std::array<std::uint8_t, filled_size> key{};
  switch (decodeSeed(seed, key)) {
    case Decoded::not_ascii:
      log("  vane: gp: convert to C string failed");
      return std::nullopt;
    case Decoded::not_base32:
      log("  vane: gp: base32decode failed");
      return std::nullopt;
    case Decoded::yes:
      break;
  }
  return passcodeOf(key, counter);
}

std::optional<std::string> vane::unloggedPasscode(std::string_view seed, std::int64_t counter) {
  alignas(filled_size) std::array<std::uint8_t, filled_size> key{};
  if (decodeSeed(seed, key) != Decoded::yes) return std::nullopt;
  return passcodeOf(key, counter);
}

std::string vane::HOTP_getPasscode(std::span<const std::uint8_t> key, std::uint64_t counter) {
  std::array<std::uint8_t, 8> message{};
  for (std::size_t i = 0; i < message.size(); ++i) {
    message[i] = static_cast<std::uint8_t>(counter >> (56 - 8 * i));
  }
  const auto digest = hmacSha1(key, message);
  const std::size_t offset = digest[19] & 15U;
  std::uint32_t value = (digest[offset] & 0x7FU) << 24 |
                        static_cast<std::uint32_t>(digest[offset + 1]) << 16 |
                        static_cast<std::uint32_t>(digest[offset + 2]) << 8 | digest[offset + 3];
  std::string passcode(6, '0');
  for (std::size_t i = passcode.size(); i-- > 0; value /= 10) {
    passcode[i] = static_cast<char>('0' + value % 10);
  }
  return passcode;
}

}  // namespace talvane
