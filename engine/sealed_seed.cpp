#include "engine/sealed_seed.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace talvane {
namespace {

constexpr std::uint8_t bit(std::uint8_t byte, unsigned index) {
  return static_cast<std::uint8_t>(unsigned{byte} >> index & 1U);
}

}  // namespace

MapTable mapTable(std::span<const std::uint8_t> key, std::size_t n) {
  constexpr std::uint8_t empty = 0xFF;
  MapTable table;
  table.fill(empty);
  for (std::size_t i = 0; i < n; ++i) {
    std::size_t slot = key[i] % n;
    while (table[slot] != empty) slot = (slot + 1) % n;
    table[slot] = static_cast<std::uint8_t>(i);
  }
  return table;
}

SealedSeed sealSeed(std::string_view seed, std::string_view hash,
                    std::span<const std::uint8_t> key) {
  const std::size_t n = seed.size();
  const MapTable positions = mapTable(key, n);
  const MapTable bits = mapTable(key, 8);
  SealedSeed result;
  for (std::size_t j = 0; j < n; ++j) {
    result.shuffled.push_back(static_cast<std::uint8_t>(seed[positions[j]]));
  }
  for (const std::uint8_t byte : result.shuffled) {
    unsigned shuffled = 0;
    for (unsigned j = 0; j < 8; ++j) shuffled |= static_cast<unsigned>(bit(byte, bits[j])) << j;
    result.bit_shuffled.push_back(static_cast<std::uint8_t>(shuffled));
  }
  for (std::size_t j = 0; j < n; ++j) {
    result.sealed.push_back(static_cast<std::uint8_t>(result.bit_shuffled[j] ^ key[j]));
  }
  for (std::size_t t = 0; t < hash.size(); ++t) {
    result.sealed.push_back(
        static_cast<std::uint8_t>(static_cast<unsigned char>(hash[t]) ^ key[t]));
  }
  return result;
}

UnsealedSeed unsealSeed(std::span<const std::uint8_t> sealed, std::span<const std::uint8_t> key) {
  const std::size_t n = sealed.size() - seed_hash_length;
  const MapTable positions = mapTable(key, n);
  const MapTable bits = mapTable(key, 8);
  UnsealedSeed result;
  for (std::size_t j = 0; j < n; ++j) {
    result.unmasked.push_back(static_cast<std::uint8_t>(sealed[j] ^ key[j]));
  }
  for (const std::uint8_t byte : result.unmasked) {
    unsigned restored = 0;
    for (unsigned j = 0; j < 8; ++j) restored |= static_cast<unsigned>(bit(byte, j)) << bits[j];
    result.bits_restored.push_back(static_cast<std::uint8_t>(restored));
  }
  std::string& seed = result.seed.mutableValue();
  seed.resize(n);
  for (std::size_t j = 0; j < n; ++j) {
    seed[positions[j]] = static_cast<char>(result.bits_restored[j]);
  }
  for (std::size_t t = 0; t < seed_hash_length; ++t) {
    result.hash += static_cast<char>(sealed[n + t] ^ key[t]);
  }
  return result;
}

}  // namespace talvane
