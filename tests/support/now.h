#pragma once

#include <chrono>
#include <cstdint>

namespace talvane::test {

/// Seconds since the Unix epoch, by the clock that the programs read. time(2) may be a few
/// milliseconds behind it, and so in another step of a token.
inline std::int64_t now() {
  const auto since_epoch = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::seconds>(since_epoch).count();
}

}  // namespace talvane::test
