#include <array>
#include <cstddef>
#include <cstdint>

#include "engine/vane.h"

namespace talvane {
namespace {

constexpr std::size_t key_size = 16;

// Main thread only, as the whole engine.
std::uint32_t cached_identity = 0;  // 0: not yet computed
std::uint32_t cached_key_word = 0;
std::array<std::uint8_t, key_size + 1> key_buffer;

std::uint32_t keyWord(std::uint32_t identity) {
  if (identity == 0) return 0;
  std::uint32_t shifted = identity;
  while ((shifted & 0x80000000U) == 0) shifted <<= 1;
  return shifted ^ identity;
}

}  // namespace

void vane::clearIdentityCache() {
  cached_identity = 0;
  cached_key_word = 0;
}

std::uint32_t vane::deviceId() {
  return gateway_ != nullptr ? gateway_->GetDeviceId() : 0;
}

const std::uint8_t* vane::GetKey() {
  if (cached_identity == 0) {
    cached_identity = deviceId();
    cached_key_word = keyWord(cached_identity);
  }
  key_buffer.fill(0);
  for (unsigned j = 0; j < 256; ++j) {
    std::uint8_t& byte = key_buffer[j % key_size];
    if (j % 22 != 0) {
      byte = static_cast<std::uint8_t>(byte ^ (cached_key_word >> (5 * (j % 6))));
    } else {
      byte = static_cast<std::uint8_t>(byte | (cached_key_word >> (6 * (j % 5))));
    }
  }
  return key_buffer.data();
}

}  // namespace talvane
