#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "engine/base32.h"

namespace talvane::test {

/// What `base32_decode` makes of the text, all of it.
inline std::optional<std::vector<std::uint8_t>> decoded(std::string_view text) {
  std::vector<std::uint8_t> bytes(text.size());
  const auto size = base32_decode(text, bytes);
  if (!size) return std::nullopt;
  bytes.resize(*size);
  return bytes;
}

}  // namespace talvane::test
