#include "engine/seed_text.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "engine/base32.h"
#include "engine/cleared.h"
#include "engine/text.h"

namespace talvane {

Cleared<std::string> paddedSeed(std::string_view seed) {
  constexpr std::string_view padding = "AAA";
  Cleared<std::string> padded;
  std::string& text = padded.mutableValue();
  text.reserve(seed.size() + padding.size());  // no growing: it would leave a piece behind
  text = seed;
  if (utf16Length(seed) == 13) text += padding;
  return padded;
}

std::string packedPair(std::uint32_t first, std::uint32_t second) {
  const std::array<std::uint8_t, 5> bytes = {
      static_cast<std::uint8_t>(first >> 12), static_cast<std::uint8_t>(first >> 4),
      static_cast<std::uint8_t>((first & 0xFU) << 4 | (second >> 16 & 0xFU)),
      static_cast<std::uint8_t>(second >> 8), static_cast<std::uint8_t>(second)};
  return base32_encode(bytes);
}

}  // namespace talvane
