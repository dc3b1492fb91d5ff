#pragma once

// The stored form of a seed. The device key shuffles its characters, shuffles the bits of each, and
// masks the result; the masked seed hash follows.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "engine/cleared.h"
#include "engine/gateway.h"

namespace talvane {

inline constexpr std::size_t seed_hash_length = 8;

/// A permutation of 0 to n − 1 in the first n entries, the rest 0xFF: table[slot] = i means that
/// item i goes to position `slot`.
using MapTable = std::array<std::uint8_t, 16>;
/// The permutation from the first n bytes of the key. n ≤ 16.
MapTable mapTable(std::span<const std::uint8_t> key, std::size_t n);

/// The sealed form after each of its stages, for the log; `sealed` is the last, with the hash.
struct SealedSeed {
  Bytes shuffled;
  Bytes bit_shuffled;
  Bytes sealed;
};

/// Seals a seed of at most 16 one-byte characters. `key` has 16 bytes, `hash` 8 characters.
SealedSeed sealSeed(std::string_view seed, std::string_view hash,
                    std::span<const std::uint8_t> key);

/// The sealed seed after each stage of undoing.
struct UnsealedSeed {
  Bytes unmasked;
  Bytes bits_restored;
  Cleared<std::string> seed;
  std::string hash;
};

/// Undoes sealSeed. `sealed` has 21 or 24 bytes. The result need not be a seed.
UnsealedSeed unsealSeed(std::span<const std::uint8_t> sealed, std::span<const std::uint8_t> key);

}  // namespace talvane
