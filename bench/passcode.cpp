// One passcode from a 16-character seed, beside what it is to be compared with: the same by
// liboath, and the four SHA-1 compressions that no HMAC-SHA1 can do without.

#include <benchmark/benchmark.h>
#include <liboath/oath.h>
#include <nettle/sha1.h>

#include <array>
#include <cstdlib>

#include "bench/allocations.h"
#include "engine/vane.h"

namespace talvane {
namespace {

constexpr const char* seed = "GEZDGNBVGY3TQOJQ";

void generatePasscode(benchmark::State& state) {
  vane::SetInterface(nullptr);
  std::int64_t counter = 58'000'000;
  const std::size_t before = allocations();
  for (auto _ : state) benchmark::DoNotOptimize(vane::GeneratePasscode(seed, counter++));
  state.counters["allocations"] =
      static_cast<double>(allocations() - before) / static_cast<double>(state.iterations());
}
BENCHMARK(generatePasscode);

void liboath(benchmark::State& state) {
  oath_init();
  std::uint64_t counter = 58'000'000;
  for (auto _ : state) {
    char* secret = nullptr;
    std::size_t length = 0;
    std::array<char, 7> passcode{};
    oath_base32_decode(seed, 16, &secret, &length);
    oath_hotp_generate(secret, length, counter++, 6, false, OATH_HOTP_DYNAMIC_TRUNCATION,
                       passcode.data());
    std::free(secret);
    benchmark::DoNotOptimize(passcode);
  }
}
BENCHMARK(liboath);

void fourCompressions(benchmark::State& state) {
  std::array<std::uint32_t, 5> words{};
  std::array<std::uint8_t, 64> block{};
  for (auto _ : state) {
    for (int i = 0; i < 4; ++i) nettle_sha1_compress(words.data(), block.data());
    benchmark::DoNotOptimize(words);
  }
}
BENCHMARK(fourCompressions);

}  // namespace
}  // namespace talvane
