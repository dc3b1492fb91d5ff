#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "engine/base32.h"
#include "engine/cleared.h"
#include "engine/gateway.h"
#include "engine/sealed_seed.h"
#include "engine/seed_text.h"
#include "engine/soft_token_info.h"
#include "engine/text.h"
#include "engine/vane.h"

namespace talvane {
namespace {

std::uint32_t number(std::string_view digits) {
  std::uint32_t value = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), value);
  return value;
}

}  // namespace

std::optional<std::string> vane::GenerateSeedHash(std::string_view seed, std::int32_t c1,
                                                  std::int32_t c2) {
  log("  vane::GenerateSeedHash: begin: seed={} c1={} c2={}", seed, c1, c2);
  const std::size_t length = utf16Length(seed);
  // A NUL would end the text early for the decoder.
  if ((length != 13 && length != 16) || seed.find('\0') != std::string_view::npos) {
    log("  vane::GenerateSeedHash: length failed");
    return std::nullopt;
  }
  const Cleared<std::string> full = paddedSeed(seed);
  const auto first = GeneratePasscode(full.get(), c1);
  if (!first) {
    log("  vane::GenerateSeedHash: error 1");
    return std::nullopt;
  }
  const std::uint32_t p1 = number(*first);
  if (p1 == 0) {
    log("  vane::GenerateSeedHash: error 1i");
    return std::nullopt;
  }
  const auto second = GeneratePasscode(full.get(), c2);
  if (!second) {
    log("  vane::GenerateSeedHash: error 2");
    return std::nullopt;
  }
  const std::uint32_t p2 = number(*second);
  if (p2 == 0) {
    log("  vane::GenerateSeedHash: error 2i");
    return std::nullopt;
  }
  std::string hash = packedPair(p1, p2);
  if (hash.empty()) {
    log("  vane::GenerateSeedHash: base32 encode failed");
    return std::nullopt;
  }
  log("  vane::GenerateSeedHash: returning {}", hash);
  return hash;
}

const std::uint8_t* vane::GetMapTable(std::span<const std::uint8_t> key, std::int32_t n) {
  static MapTable table;
  table = mapTable(key, static_cast<std::size_t>(std::clamp(n, 0, 16)));
  return table.data();
}

std::optional<Cleared<std::string>> vane::ExpandSeed(const SoftTokenInfo& token,
                                                     std::uint32_t* suffix) {
  const std::string_view root = token.seed32 ? std::string_view(token.seed32->get()) : nil_text;
  log("  vane:     ExpandSeed: begin: root: {}", root);
  if (!token.seed32 || utf16Length(root) != 13) {
    log("  vane:     ExpandSeed: length wrong");
    return std::nullopt;
  }
  const Cleared<std::string> padded = paddedSeed(root);
  if (!isAscii(padded.get())) {
    log("  vane:     ExpandSeed: convert to C string failed");
    return std::nullopt;
  }
  Cleared<Bytes> seed(Bytes(10));
  Bytes& b = seed.mutableValue();
  if (!base32_decode(padded.get(), b)) {
    log("  vane:     ExpandSeed: base32 decode failed");
    return std::nullopt;
  }

  clearIdentityCache();
  const std::uint8_t* key = GetKey();
  log("  vane:     ExpandSeed: suffix creation stage1");
  std::array<std::uint32_t, 4> w{};
  for (std::size_t i = 0; i < w.size(); ++i) {
    for (std::size_t j = 0; j < 4; ++j) w[i] = w[i] << 8 | key[4 * i + j];
    log("  vane:     ExpandSeed:   {:X}", w[i]);
  }
  log("  vane:     ExpandSeed: suffix creation stage2");
  for (unsigned r = 0; r < 32; ++r) {
    for (unsigned k = 0; k < 7; ++k) {
      const unsigned s = k * r;
      const std::uint32_t bits = static_cast<std::uint32_t>(b[k]) << (s % 32);
      if (s % 7 == 0) {
        w[r % 4] &= ~bits;
      } else {
        w[r % 4] ^= bits;
      }
    }
  }
  log("  vane:     ExpandSeed:    {:X} {:X} {:X} {:X}", w[0], w[1], w[2], w[3]);
  const std::uint32_t l32 = (w[0] & w[1]) | (w[2] & w[3]);
  log("L :{:X}", l32);
  const std::uint32_t l = l32 & 0xFFFFFU;
  log("  vane:     ExpandSeed: L(20bits):{:X}", l);

  b[7] = static_cast<std::uint8_t>((b[7] & 0xF0U) | l >> 16);
  b[8] = static_cast<std::uint8_t>(l >> 8);
  b[9] = static_cast<std::uint8_t>(l);
  Cleared<std::string> full(base32_encode(b));
  log("  vane:     ExpandSeed: final seed: {}  length:{}", full.get(), full->size());
  if (suffix != nullptr) *suffix = l;
  return full;
}

}  // namespace talvane
