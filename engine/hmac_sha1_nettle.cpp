#include <nettle/hmac.h>
#include <nettle/sha1.h>
#include <array>
#include <cstdint>
#include <span>

#include "engine/cleared.h"
#include "engine/hmac_sha1.h"

namespace talvane {

std::array<std::uint8_t, 20> hmacSha1(std::span<const std::uint8_t> key,
                                      std::span<const std::uint8_t> message) {
  hmac_sha1_ctx context;
  hmac_sha1_set_key(&context, key.size(), key.data());
  hmac_sha1_update(&context, message.size(), message.data());
  std::array<std::uint8_t, SHA1_DIGEST_SIZE> digest;
  hmac_sha1_digest(&context, digest.size(), digest.data());
  // The key is in the chaining values alone: the blocks hold the message and the inner digest.
  for (sha1_ctx* hash : {&context.outer, &context.inner, &context.state}) {
    clearMemory(hash->state, sizeof hash->state);
  }
  return digest;
}

}  // namespace talvane
