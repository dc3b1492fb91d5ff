#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "engine/vane.h"

namespace talvane {
namespace {

bool isUnreserved(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '.' || c == '_' || c == '~';
}

std::uint8_t scrambleByte(std::string_view passcode) {
  std::uint32_t k = 1;
  for (std::size_t i = 0; i < 6; ++i) {
    const char character = i < passcode.size() ? passcode[i] : '\0';
    // A signed character: above 127 it counts from the other side.
    const auto byte = static_cast<unsigned char>(character);
    const std::uint32_t c = byte < 0x80U ? byte : byte - 0x100U;
    k = (c - 47) * (k + c - 48);
  }
  return static_cast<std::uint8_t>(k);
}

}  // namespace

std::string vane::URLEncodedString(std::string_view text) {
  std::string encoded;
  for (const char c : text) {
    if (isUnreserved(c)) {
      encoded += c;
    } else {
      encoded += fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
  }
  return encoded;
}

std::string vane::GenerateFlickpassQrcodeWithUsername(std::string_view Username,
                                                      std::string_view Pin,
                                                      std::string_view Passcode1,
                                                      std::string_view Passcode2) {
  const std::string text = fmt::format("U={}&P={}&p={}&p2={}", URLEncodedString(Username),
                                       URLEncodedString(Pin), Passcode1, Passcode2);
  const std::uint8_t scramble = scrambleByte(Passcode2);
  std::string result = fmt::format("{:02X}", scramble);
  for (const char c : text) {
    result += fmt::format("{:02X}", static_cast<unsigned char>(c) ^ scramble);
  }
  return result;
}

}  // namespace talvane
