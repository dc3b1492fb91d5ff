#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <string_view>

#include "engine/vane.h"
#include "tests/engine/decoded.h"
#include "tests/engine/engine_test.h"

namespace talvane {
namespace {

using std::string_view_literals::operator""sv;
using test::Lines;

class SeedExpansionTest : public test::EngineTest {
 protected:
  /// The full seed, and its suffix in `suffix_`.
  std::optional<std::string> expand(std::string_view seed) {
    suffix_ = 0xDEADBEEF;
    const auto full = vane::ExpandSeed(test::makeToken("Mail", seed), &suffix_);
    if (!full) return std::nullopt;
    return full->get();
  }

  std::uint32_t suffix_ = 0;
};

TEST_F(SeedExpansionTest, EveryRowOfTheTable) {
  const auto identities = test::identitiesByKey();
  for (const auto& row : test::readVectors("expand_seed.tsv", 4, 41)) {
    setIdentity(identities.at(row[0]));
    EXPECT_EQ(expand(row[1]), test::orNilCell(row[2])) << row;
    EXPECT_EQ(suffix_, std::stoul(row[3])) << row;
  }
}

TEST_F(SeedExpansionTest, LinesOfASuccess) {
  EXPECT_EQ(expand("JBSWY3DPEHPK3"), "JBSWY3DPEHPKEKMB");
  EXPECT_EQ(suffix_, 0x22981U);
  EXPECT_EQ(gateway.lines, test::lines::expand13());
}

TEST_F(SeedExpansionTest, SuffixMayBeLeftOut) {
  const auto full = vane::ExpandSeed(test::makeToken("Mail", "JBSWY3DPEHPK3"), nullptr);
  ASSERT_TRUE(full);
  EXPECT_EQ(full->get(), "JBSWY3DPEHPKEKMB");
}

TEST_F(SeedExpansionTest, RecordIsNotChanged) {
  const SoftTokenInfo token = test::makeToken("Mail", "jbswy3dpehpk3", 60);
  EXPECT_TRUE(vane::ExpandSeed(token, nullptr));
  EXPECT_EQ(test::seedOf(token), "jbswy3dpehpk3");
  EXPECT_EQ(token.description, "Mail");
  EXPECT_EQ(token.period, 60);
}

TEST_F(SeedExpansionTest, SixteenCharactersAreRefused) {
  EXPECT_EQ(expand("JBSWY3DPEHPK3PXP"), std::nullopt);
  EXPECT_EQ(suffix_, 0xDEADBEEF);
  EXPECT_EQ(gateway.lines, (Lines{"  vane:     ExpandSeed: begin: root: JBSWY3DPEHPK3PXP",
                                  "  vane:     ExpandSeed: length wrong"}));
}

TEST_F(SeedExpansionTest, OtherLengthsAreRefused) {
  for (std::size_t length = 0; length <= 40; ++length) {
    EXPECT_EQ(expand(std::string(length, 'B')).has_value(), length == 13) << length;
  }
}

TEST_F(SeedExpansionTest, MissingSeedIsRefused) {
  EXPECT_FALSE(vane::ExpandSeed(SoftTokenInfo(), nullptr));
  EXPECT_EQ(gateway.lines, (Lines{"  vane:     ExpandSeed: begin: root: (null)",
                                  "  vane:     ExpandSeed: length wrong"}));
}

TEST_F(SeedExpansionTest, SeedThatIsNotAsciiIsRefused) {
  EXPECT_EQ(expand("JBSWY3DPEHPKÉ"), std::nullopt);
  EXPECT_EQ(suffix_, 0xDEADBEEF);
  EXPECT_EQ(gateway.lines, (Lines{"  vane:     ExpandSeed: begin: root: JBSWY3DPEHPKÉ",
                                  "  vane:     ExpandSeed: convert to C string failed"}));
}

TEST_F(SeedExpansionTest, InvalidCharacterIsRefused) {
  EXPECT_EQ(expand("JBSWY3DPEHPK!"), std::nullopt);
  EXPECT_EQ(suffix_, 0xDEADBEEF);
  EXPECT_EQ(gateway.lines, (Lines{"  vane:     ExpandSeed: begin: root: JBSWY3DPEHPK!",
                                  "  vane:     ExpandSeed: base32 decode failed"}));
}

TEST_F(SeedExpansionTest, ThirteenthCharacterTakesNoPart) {
  for (const char last : "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567abz018"sv) {
    EXPECT_EQ(expand(std::string("JBSWY3DPEHPK") + last), "JBSWY3DPEHPKEKMB") << last;
    EXPECT_EQ(suffix_, 0x22981U) << last;
  }
}

TEST_F(SeedExpansionTest, FirstTwelveCharactersComeBackInCanonicalForm) {
  EXPECT_EQ(expand("jbswy3dpehpk3"), "JBSWY3DPEHPKEKMB");
  EXPECT_EQ(expand("jbswy3dp0h813"), "JBSWY3DPOHBILKEB");
  EXPECT_EQ(expand("JBSWY3DPOHBI3"), "JBSWY3DPOHBILKEB");
}

// The eleventh characters differ, P and Q: bits 50 to 54 of the seed.
TEST_F(SeedExpansionTest, SeedsThatDifferInTheirFirst56BitsHaveDifferentSuffixes) {
  EXPECT_EQ(expand("JBSWY3DPEHPK3"), "JBSWY3DPEHPKEKMB");
  EXPECT_EQ(suffix_, 141697U);
  EXPECT_EQ(expand("JBSWY3DPEHQK3"), "JBSWY3DPEHQKWAMB");
  EXPECT_EQ(suffix_, 721281U);
}

TEST_F(SeedExpansionTest, OtherDevicesGiveOtherSuffixes) {
  setIdentity(166668227);
  EXPECT_EQ(expand("ST33IMN3RNTXV"), "ST33IMN3RNTXKASA");
  EXPECT_EQ(suffix_, 328256U);
  setIdentity(971906467);
  ASSERT_TRUE(expand("ST33IMN3RNTXV"));
  EXPECT_NE(suffix_, 328256U);
}

TEST_F(SeedExpansionTest, WithoutAGatewayTheKeyIsZero) {
  vane::SetInterface(nullptr);
  EXPECT_EQ(expand("nHncul654og5L"), "NHNCUL654OG5QMAS");
  EXPECT_EQ(suffix_, 536594U);
}

// The suffix is the last twenty bits of the full seed and the rest is the typed one's.
TEST_F(SeedExpansionTest, SuffixIsTheLastTwentyBits) {
  constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";
  std::mt19937 random(31);
  for (int round = 0; round < 500; ++round) {
    setIdentity(static_cast<std::uint32_t>(random() & 0x7FFFFFFFU));
    std::string seed;
    for (int i = 0; i < 13; ++i) seed += alphabet[random() % alphabet.size()];
    const auto full = expand(seed);
    ASSERT_TRUE(full);
    ASSERT_EQ(full->size(), 16U);
    EXPECT_EQ(full->substr(0, 12), seed.substr(0, 12));
    const auto bytes = test::decoded(*full);
    ASSERT_TRUE(bytes);
    const std::uint32_t last = (bytes->at(7) & 15U) << 16U | std::uint32_t{bytes->at(8)} << 8U |
                               std::uint32_t{bytes->at(9)};
    EXPECT_EQ(suffix_, last);
  }
}

TEST_F(SeedExpansionTest, EmbeddedNulStaysWithinBounds) {
  for (std::size_t at = 0; at < 13; ++at) {
    std::string seed = "JBSWY3DPEHPK3";
    seed[at] = '\0';
    const auto full = expand(seed);
    if (full) {
      EXPECT_EQ(full->size(), 16U) << at;
    }
  }
}

}  // namespace
}  // namespace talvane
