#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <random>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "engine/vane.h"
#include "tests/engine/engine_test.h"

namespace talvane {
namespace {

using test::Lines;
using SeedHashTest = test::EngineTest;
using MapTableTest = test::EngineTest;

/// The first n entries.
std::vector<int> mapTable(const std::vector<std::uint8_t>& key, std::int32_t n) {
  const std::uint8_t* table = vane::GetMapTable(key, n);
  return {table, table + n};
}

Lines refusal(const std::string& seed, const std::string& line) {
  return {"  vane::GenerateSeedHash: begin: seed=" + seed + " c1=34608 c2=43875", line};
}

TEST_F(SeedHashTest, EveryRowOfTheTable) {
  for (const auto& row : test::readVectors("seed_hash.tsv", 4, 80)) {
    EXPECT_EQ(vane::GenerateSeedHash(row[0], std::stoi(row[1]), std::stoi(row[2])),
              test::orNilCell(row[3]))
        << row;
  }
}

TEST_F(SeedHashTest, ThirteenCharactersAndTheSameWithThreeLettersAHaveOneHash) {
  EXPECT_EQ(vane::GenerateSeedHash("JBSWY3DPEHPK3", 1, 2), "5PG3TVF3");
  EXPECT_EQ(vane::GenerateSeedHash("JBSWY3DPEHPK3AAA", 1, 2), "5PG3TVF3");
}

TEST_F(SeedHashTest, CountersMayBeAnything) {
  EXPECT_EQ(vane::GenerateSeedHash("JBSWY3DPEHPK3PXP", 0, 0), "IUEIIUEI");
  EXPECT_EQ(
      vane::GenerateSeedHash("JBSWY3DPEHPK3PXP", -1, std::numeric_limits<std::int32_t>::min()),
      "4V6SAM2I");
}

TEST_F(SeedHashTest, LinesOfASixteenCharacterSeed) {
  EXPECT_EQ(vane::GenerateSeedHash("JBSWY3DPEHPK3PXP", 34608, 43875), "2JOGR2BW");
  EXPECT_EQ(gateway.lines,
            (Lines{"  vane::GenerateSeedHash: begin: seed=JBSWY3DPEHPK3PXP c1=34608 c2=43875",
                   "  vane: gp: begin: \"JBSWY3DPEHPK3PXP\" 34608",
                   "  vane: gp: begin: \"JBSWY3DPEHPK3PXP\" 43875",
                   "  vane::GenerateSeedHash: returning 2JOGR2BW"}));
}

TEST_F(SeedHashTest, LinesOfAThirteenCharacterSeed) {
  EXPECT_EQ(vane::GenerateSeedHash("JBSWY3DPEHPK3", 34608, 43875), "OOWKG64M");
  EXPECT_EQ(gateway.lines,
            (Lines{"  vane::GenerateSeedHash: begin: seed=JBSWY3DPEHPK3 c1=34608 c2=43875",
                   "  vane: gp: begin: \"JBSWY3DPEHPK3AAA\" 34608",
                   "  vane: gp: begin: \"JBSWY3DPEHPK3AAA\" 43875",
                   "  vane::GenerateSeedHash: returning OOWKG64M"}));
}

TEST_F(SeedHashTest, OtherLengthsAreRefused) {
  for (std::size_t length = 0; length <= 40; ++length) {
    if (length == 13 || length == 16) continue;
    const std::string seed(length, 'B');
    gateway.lines.clear();
    EXPECT_EQ(vane::GenerateSeedHash(seed, 34608, 43875), std::nullopt) << length;
    EXPECT_EQ(gateway.lines, refusal(seed, "  vane::GenerateSeedHash: length failed"));
  }
}

TEST_F(SeedHashTest, FirstPasscodeThatCannotBeMadeIsError1) {
  EXPECT_EQ(vane::GenerateSeedHash("JBSWY3DPEHPK3PX!", 34608, 43875), std::nullopt);
  EXPECT_EQ(gateway.lines,
            (Lines{"  vane::GenerateSeedHash: begin: seed=JBSWY3DPEHPK3PX! c1=34608 c2=43875",
                   "  vane: gp: begin: \"JBSWY3DPEHPK3PX!\" 34608",
                   "  vane: gp: base32decode failed", "  vane::GenerateSeedHash: error 1"}));
}

// Sixteen characters, seventeen bytes.
TEST_F(SeedHashTest, SeedThatIsNotAsciiIsError1) {
  EXPECT_EQ(vane::GenerateSeedHash("JBSWY3DPEHPK3PXÉ", 34608, 43875), std::nullopt);
  EXPECT_EQ(gateway.lines,
            (Lines{"  vane::GenerateSeedHash: begin: seed=JBSWY3DPEHPK3PXÉ c1=34608 c2=43875",
                   "  vane: gp: begin: \"JBSWY3DPEHPK3PXÉ\" 34608",
                   "  vane: gp: convert to C string failed", "  vane::GenerateSeedHash: error 1"}));
}

TEST_F(SeedHashTest, FirstPasscodeOfZerosIsError1i) {
  EXPECT_EQ(vane::GenerateSeedHash("YZG7ELOPFFFXER5O", 34608, 43875), std::nullopt);
  EXPECT_EQ(gateway.lines,
            (Lines{"  vane::GenerateSeedHash: begin: seed=YZG7ELOPFFFXER5O c1=34608 c2=43875",
                   "  vane: gp: begin: \"YZG7ELOPFFFXER5O\" 34608",
                   "  vane::GenerateSeedHash: error 1i"}));
}

TEST_F(SeedHashTest, SecondPasscodeOfZerosIsError2i) {
  EXPECT_EQ(vane::GenerateSeedHash("A4EFAA4RPUR5JVON", 34608, 43875), std::nullopt);
  EXPECT_EQ(gateway.lines,
            (Lines{"  vane::GenerateSeedHash: begin: seed=A4EFAA4RPUR5JVON c1=34608 c2=43875",
                   "  vane: gp: begin: \"A4EFAA4RPUR5JVON\" 34608",
                   "  vane: gp: begin: \"A4EFAA4RPUR5JVON\" 43875",
                   "  vane::GenerateSeedHash: error 2i"}));
}

TEST_F(SeedHashTest, ThirteenCharacterSeedWithAPasscodeOfZerosIsRefused) {
  EXPECT_EQ(vane::GenerateSeedHash("OEGHWM5RXQPXB", 34608, 43875), std::nullopt);
  EXPECT_EQ(gateway.lines.back(), "  vane::GenerateSeedHash: error 1i");
}

TEST_F(MapTableTest, EveryRowOfTheTable) {
  for (const auto& row : test::readVectors("map_table.tsv", 3, 88)) {
    std::vector<int> expected;
    std::istringstream entries(row[2]);
    for (int entry = 0; entries >> entry;) expected.push_back(entry);
    const std::int32_t n = std::stoi(row[1]);
    ASSERT_EQ(expected.size(), static_cast<std::size_t>(n)) << row;
    EXPECT_EQ(mapTable(test::fromHex(row[0]), n), expected) << row;
  }
}

TEST_F(MapTableTest, EqualKeyBytesShiftTheIdentity) {
  for (int byte = 0; byte < 256; ++byte) {
    const std::vector<std::uint8_t> key(16, static_cast<std::uint8_t>(byte));
    const std::vector<int> table = mapTable(key, 8);
    for (int i = 0; i < 8; ++i) {
      EXPECT_EQ(table[static_cast<std::size_t>((byte % 8 + i) % 8)], i) << byte;
    }
  }
}

TEST_F(MapTableTest, OfOneEntryTheRestIsEmpty) {
  // A full table before it leaves nothing behind.
  vane::GetMapTable(std::vector<std::uint8_t>(16, 3), 16);
  const std::uint8_t* table = vane::GetMapTable(std::vector<std::uint8_t>(16, 0xFF), 1);
  EXPECT_EQ(test::toHex(std::span(table, 16)), "00ffffffffffffffffffffffffffffff");
}

TEST_F(MapTableTest, OfNoEntriesIsEmpty) {
  for (const std::int32_t n : {0, -1, std::numeric_limits<std::int32_t>::min()}) {
    vane::GetMapTable(std::vector<std::uint8_t>(16, 3), 16);
    const std::uint8_t* table = vane::GetMapTable(std::vector<std::uint8_t>(16, 7), n);
    EXPECT_EQ(test::toHex(std::span(table, 16)), "ffffffffffffffffffffffffffffffff") << n;
  }
}

TEST_F(MapTableTest, EntriesBehindThePermutationAreEmpty) {
  const std::uint8_t* table = vane::GetMapTable(std::vector<std::uint8_t>(16, 0), 13);
  EXPECT_EQ(test::toHex(std::span(table, 16)), "000102030405060708090a0b0cffffff");
}

TEST_F(MapTableTest, KeyBytesAreUnsignedAndATakenSlotMovesOn) {
  // 255 mod 13 is 8, 200 mod 13 is 5: 8, 9, 5, 6, then 12 wraps to 0.
  std::vector<std::uint8_t> key{255, 255, 200, 200, 12, 12, 3, 3, 3, 10, 10, 0, 0};
  EXPECT_EQ(mapTable(key, 13), (std::vector<int>{5, 11, 12, 6, 7, 2, 3, 8, 0, 1, 9, 10, 4}));
}

TEST_F(MapTableTest, AlwaysAPermutation) {
  std::mt19937 random(1234);
  for (int round = 0; round < 5000; ++round) {
    std::vector<std::uint8_t> key(16);
    for (auto& byte : key) byte = static_cast<std::uint8_t>(random());
    const auto n = static_cast<std::int32_t>(1 + random() % 16);
    std::vector<int> table = mapTable(key, n);
    std::sort(table.begin(), table.end());
    for (int i = 0; i < n; ++i) ASSERT_EQ(table[static_cast<std::size_t>(i)], i);
  }
}

TEST_F(MapTableTest, NextCallOverwritesTheTable) {
  const std::uint8_t* first = vane::GetMapTable(std::vector<std::uint8_t>(16, 0), 4);
  EXPECT_EQ(first[0], 0);
  EXPECT_EQ(vane::GetMapTable(std::vector<std::uint8_t>(16, 1), 4), first);
  EXPECT_EQ(first[0], 3);
}

}  // namespace
}  // namespace talvane
