#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "engine/vane.h"
#include "tests/engine/engine_test.h"

namespace talvane {
namespace {

using std::string_view_literals::operator""sv;
using test::Lines;
using PasscodeTest = test::EngineTest;

constexpr std::int64_t greatest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();

std::vector<std::uint8_t> bytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

TEST_F(PasscodeTest, EveryRowOfTheTable) {
  for (const auto& row : test::readVectors("passcode.tsv", 3, 90)) {
    EXPECT_EQ(vane::GeneratePasscode(row[0], std::stoll(row[1])), test::orNilCell(row[2])) << row;
  }
}

// RFC 4226, appendix D: HOTP takes the key whole.
TEST_F(PasscodeTest, HotpValuesOfTheRfcWithAllTwentyBytes) {
  const std::array<std::string, 10> expected{"755224", "287082", "359152", "969429", "338314",
                                             "254676", "287922", "162583", "399871", "520489"};
  for (std::uint64_t counter = 0; counter < expected.size(); ++counter) {
    EXPECT_EQ(vane::HOTP_getPasscode(bytesOf("12345678901234567890"), counter), expected[counter]);
  }
}

TEST_F(PasscodeTest, TenByteKeyConformsToTheRfc) {
  const std::array<std::string, 10> expected{"891490", "263420", "092045", "626604", "208158",
                                             "767654", "236585", "632007", "262751", "198159"};
  for (std::uint64_t counter = 0; counter < expected.size(); ++counter) {
    EXPECT_EQ(vane::HOTP_getPasscode(bytesOf("1234567890"), counter), expected[counter]);
  }
}

// The seed of the RFC's twenty bytes: ten of them make the passcode.
TEST_F(PasscodeTest, OnlyTheFirstTenBytesOfTheRfcKeyTakePart) {
  const std::array<std::string, 10> expected{"891490", "263420", "092045", "626604", "208158",
                                             "767654", "236585", "632007", "262751", "198159"};
  for (std::int64_t counter = 0; counter < 10; ++counter) {
    const auto passcode = vane::GeneratePasscode("GEZDGNBVGY3TQOJQGEZDGNBVGY3TQOJQ", counter);
    EXPECT_EQ(passcode, expected[static_cast<std::size_t>(counter)]);
    EXPECT_EQ(vane::GeneratePasscode("GEZDGNBVGY3TQOJQ", counter), passcode);
  }
  EXPECT_NE(vane::GeneratePasscode("GEZDGNBVGY3TQOJQGEZDGNBVGY3TQOJQ", 0), "755224");
}

TEST_F(PasscodeTest, CounterZeroIsEightZeroBytes) {
  EXPECT_EQ(vane::GeneratePasscode("JBSWY3DPEHPK3PXP", 0), "282760");
}

TEST_F(PasscodeTest, LeadingZerosAreKept) {
  EXPECT_EQ(vane::GeneratePasscode("GEZDGNBVGY3TQOJQ", 2), "092045");
  EXPECT_EQ(vane::GeneratePasscode("YZG7ELOPFFFXER5O", 34608), "000000");
}

TEST_F(PasscodeTest, AlwaysSixDigits) {
  for (std::int64_t counter = 0; counter < 2000; ++counter) {
    const auto passcode = vane::GeneratePasscode("JBSWY3DPEHPK3PXP", counter);
    ASSERT_TRUE(passcode);
    EXPECT_EQ(passcode->size(), 6U);
    EXPECT_EQ(passcode->find_first_not_of("0123456789"), std::string::npos);
  }
}

TEST_F(PasscodeTest, EightDigitsOnTheRecordStillYieldSix) {
  SoftTokenInfo token = test::makeToken("Mail", "JBSWY3DPEHPK3PXP");
  token.digits = 8;
  EXPECT_EQ(vane::GeneratePasscode(test::seedOf(token), token.counterAt(30)), "996554");
}

TEST_F(PasscodeTest, CountersAtTheLimits) {
  EXPECT_EQ(vane::GeneratePasscode("JBSWY3DPEHPK3PXP", greatest), "413935");
  EXPECT_EQ(vane::GeneratePasscode("JBSWY3DPEHPK3PXP", -1), "939986");
  EXPECT_EQ(vane::GeneratePasscode("JBSWY3DPEHPK3PXP", least), "743155");
}

TEST_F(PasscodeTest, LongerSeedsUseTheirFirstTenBytes) {
  EXPECT_EQ(vane::GeneratePasscode("JBSWY3DPEHPK3PXPAAAAAAAA", 1), "996554");
  EXPECT_EQ(vane::GeneratePasscode("JBSWY3DPEHPK3PXPZZZZZZZZ", 1), "996554");
  EXPECT_EQ(vane::GeneratePasscode(std::string("JBSWY3DPEHPK3PXP") + std::string(8000, 'Z'), 1),
            "996554");
}

TEST_F(PasscodeTest, ShorterSeedsAreFilledUpWithZeros) {
  EXPECT_EQ(vane::GeneratePasscode("JBSWY3DP", 1), "409098");
  EXPECT_EQ(vane::GeneratePasscode("", 1), "812658");
}

TEST_F(PasscodeTest, SeedEndsAtAnEmbeddedNul) {
  EXPECT_EQ(vane::GeneratePasscode("JBSWY3DP\0EHPK3PX"sv, 1), "409098");
  EXPECT_EQ(vane::GeneratePasscode("JBSWY3DP\0EHP\0PX"sv, 1), "409098") << "the first one";
  EXPECT_EQ(vane::GeneratePasscode("\0BSWY3DPEHPK3PXP"sv, 1), "812658");
  EXPECT_EQ(vane::GeneratePasscode("JBSWY3DPEHPK\0PXP"sv, 1), std::nullopt);
}

TEST_F(PasscodeTest, LowerCaseAndLookAlikesAreTheSameSeed) {
  EXPECT_EQ(vane::GeneratePasscode("jbswy3dpehpk3pxp", 1), "996554");
  EXPECT_EQ(vane::GeneratePasscode("018A018A018A018A", 7),
            vane::GeneratePasscode("OIBAOIBAOIBAOIBA", 7));
}

TEST_F(PasscodeTest, ThirteenCharactersFail) {
  EXPECT_EQ(vane::GeneratePasscode("JBSWY3DPEHPK3", 5), std::nullopt);
  EXPECT_EQ(gateway.lines,
            (Lines{"  vane: gp: begin: \"JBSWY3DPEHPK3\" 5", "  vane: gp: base32decode failed"}));
}

TEST_F(PasscodeTest, SeedThatIsNotAsciiFails) {
  EXPECT_EQ(vane::GeneratePasscode("JBSWY3DPEHPK3PXÉ", 5), std::nullopt);
  EXPECT_EQ(gateway.lines, (Lines{"  vane: gp: begin: \"JBSWY3DPEHPK3PXÉ\" 5",
                                  "  vane: gp: convert to C string failed"}));
}

// The whole seed must be ASCII, though only what stands before the NUL is decoded.
TEST_F(PasscodeTest, SeedThatIsNotAsciiBehindANulFails) {
  EXPECT_EQ(vane::GeneratePasscode("JBSWY3DP\0É"sv, 5), std::nullopt);
  EXPECT_EQ(gateway.lines.back(), "  vane: gp: convert to C string failed");
  EXPECT_EQ(vane::GeneratePasscode("\0\xFF"sv, 5), std::nullopt);
}

TEST_F(PasscodeTest, InvalidCharacterFails) {
  EXPECT_EQ(vane::GeneratePasscode("JBSWY3DPEHPK3PX!", 5), std::nullopt);
  EXPECT_EQ(gateway.lines, (Lines{"  vane: gp: begin: \"JBSWY3DPEHPK3PX!\" 5",
                                  "  vane: gp: base32decode failed"}));
}

TEST_F(PasscodeTest, LineOfASuccess) {
  vane::GeneratePasscode("JBSWY3DPEHPK3PXP", -1);
  EXPECT_EQ(gateway.lines, Lines{"  vane: gp: begin: \"JBSWY3DPEHPK3PXP\" -1"});
}

TEST_F(PasscodeTest, LineHoldsTheWholeCounter) {
  vane::GeneratePasscode("JBSWY3DPEHPK3PXP", greatest);
  vane::GeneratePasscode("JBSWY3DPEHPK3PXP", least);
  EXPECT_EQ(gateway.lines, (Lines{"  vane: gp: begin: \"JBSWY3DPEHPK3PXP\" 9223372036854775807",
                                  "  vane: gp: begin: \"JBSWY3DPEHPK3PXP\" -9223372036854775808"}));
}

TEST_F(PasscodeTest, WithoutTheLogItIsTheSame) {
  for (const auto& row : test::readVectors("passcode.tsv", 3, 90)) {
    EXPECT_EQ(vane::unloggedPasscode(row[0], std::stoll(row[1])), test::orNilCell(row[2])) << row;
  }
  for (const std::string_view seed : {"JBSWY3DPEHPK3PXÉ"sv, "JBSWY3DP\0É"sv, "JBSWY3DPEHPK3"sv}) {
    EXPECT_EQ(vane::unloggedPasscode(seed, 1), std::nullopt);
  }
  EXPECT_EQ(vane::unloggedPasscode("JBSWY3DP\0EHPK3PX"sv, 1), "409098");
  EXPECT_EQ(gateway.lines, Lines());
}

TEST_F(PasscodeTest, RandomSeedsYieldSixDigitsOrNil) {
  std::mt19937 random(20);
  for (int round = 0; round < 20000; ++round) {
    std::string seed(random() % 33, '\0');
    const bool any_byte = random() % 2 == 0;
    for (char& character : seed) {
      character = static_cast<char>(any_byte ? random() : '0' + random() % ('z' - '0'));
    }
    const auto passcode = vane::GeneratePasscode(seed, static_cast<std::int64_t>(random()));
    if (!passcode) continue;
    EXPECT_EQ(passcode->size(), 6U);
    EXPECT_EQ(passcode->find_first_not_of("0123456789"), std::string::npos);
  }
}

}  // namespace
}  // namespace talvane
