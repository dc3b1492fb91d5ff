#include "engine/hmac_sha1.h"

#include <CommonCrypto/CommonHMAC.h>

namespace talvane {

std::array<std::uint8_t, 20> hmacSha1(std::span<const std::uint8_t> key,
                                      std::span<const std::uint8_t> message) {
  std::array<std::uint8_t, CC_SHA1_DIGEST_LENGTH> digest{};
  CCHmac(kCCHmacAlgSHA1, key.data(), key.size(), message.data(), message.size(), digest.data());
  return digest;
}

}  // namespace talvane
