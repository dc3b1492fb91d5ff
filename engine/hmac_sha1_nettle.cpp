#include <nettle/hmac.h>
#include <nettle/sha1.h>

#include "engine/cleared.h"
#include "engine/hmac_sha1.h"

namespace talvane {
namespace {

using Block = std::array<std::uint8_t, SHA1_BLOCK_SIZE>;
using State = std::array<std::uint32_t, 5>;
using Digest = std::array<std::uint8_t, SHA1_DIGEST_SIZE>;

constexpr State initial_state = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};

// What a padded block has room for beside the end mark and the length (FIPS 180-4, section 5.1.1).
constexpr std::size_t longest_message = SHA1_BLOCK_SIZE - 9;

void storeBigEndian(std::uint8_t* bytes, std::uint32_t word) {
  for (int i = 0; i < 4; ++i) bytes[i] = static_cast<std::uint8_t>(word >> (24 - 8 * i));
}

void storeBigEndian(std::uint8_t* bytes, const State& state) {
  for (std::size_t i = 0; i < state.size(); ++i) storeBigEndian(bytes + 4 * i, state[i]);
}

// The end of a message of `size` bytes that follows one whole block.
void padSecondBlock(Block& block, std::size_t size) {
  block[size] = 0x80;
  storeBigEndian(&block[block.size() - 4], static_cast<std::uint32_t>((block.size() + size) * 8));
}

// RFC 2104 in four compressions and nothing else, for a key and a message of one block at most:
// what passcodes have. The library's own contexts cost as much again. All blocks are laid out
// before the first compression: one that reads what was just written waits for it.
Digest shortHmac(std::span<const std::uint8_t> key, std::span<const std::uint8_t> message) {
  Block inner_key{};
  Block inner_message{};
  Block outer_key;
  Block outer_message{};
  for (std::size_t i = 0; i < key.size(); ++i) inner_key[i] = key[i];
  for (std::size_t i = 0; i < inner_key.size(); ++i) {
    outer_key[i] = static_cast<std::uint8_t>(inner_key[i] ^ 0x5C);
    inner_key[i] = static_cast<std::uint8_t>(inner_key[i] ^ 0x36);
  }
  for (std::size_t i = 0; i < message.size(); ++i) inner_message[i] = message[i];
  padSecondBlock(inner_message, message.size());
  padSecondBlock(outer_message, SHA1_DIGEST_SIZE);

  State outer = initial_state;
  nettle_sha1_compress(outer.data(), outer_key.data());
  State inner = initial_state;
  nettle_sha1_compress(inner.data(), inner_key.data());
  nettle_sha1_compress(inner.data(), inner_message.data());
  storeBigEndian(outer_message.data(), inner);
  nettle_sha1_compress(outer.data(), outer_message.data());

  clearMemory(inner_key.data(), inner_key.size());
  clearMemory(outer_key.data(), outer_key.size());
  Digest digest;
  storeBigEndian(digest.data(), outer);
  return digest;
}

}  // namespace

std::array<std::uint8_t, 20> hmacSha1(std::span<const std::uint8_t> key,
                                      std::span<const std::uint8_t> message) {
  if (key.size() <= SHA1_BLOCK_SIZE && message.size() <= longest_message) {
    return shortHmac(key, message);
  }
  hmac_sha1_ctx context;
  nettle_hmac_sha1_set_key(&context, key.size(), key.data());
  nettle_hmac_sha1_update(&context, message.size(), message.data());
  Digest digest;
  nettle_hmac_sha1_digest(&context, digest.size(), digest.data());
  clearMemory(&context, sizeof context);
  return digest;
}

}  // namespace talvane
