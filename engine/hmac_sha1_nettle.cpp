#include <nettle/hmac.h>

#include "engine/hmac_sha1.h"

namespace talvane {

std::array<std::uint8_t, 20> hmacSha1(std::span<const std::uint8_t> key,
                                      std::span<const std::uint8_t> message) {
  hmac_sha1_ctx context;
  nettle_hmac_sha1_set_key(&context, key.size(), key.data());
  nettle_hmac_sha1_update(&context, message.size(), message.data());
  std::array<std::uint8_t, 20> digest;
  nettle_hmac_sha1_digest(&context, digest.size(), digest.data());
  return digest;
}

}  // namespace talvane
