#include "engine/base32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tests/engine/decoded.h"
#include "tests/support/vectors.h"

namespace talvane {
namespace {

using test::decoded;
using test::fromHex;
using test::orNilCell;
using test::readVectors;
using test::toHex;

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";

std::vector<std::uint8_t> bytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

std::optional<std::string> decodedHex(std::string_view text) {
  const auto bytes = decoded(text);
  if (!bytes) return std::nullopt;
  return toHex(*bytes);
}

TEST(Base32Encode, EveryRowOfTheTable) {
  for (const auto& row : readVectors("base32_encode.tsv", 2, 44)) {
    EXPECT_EQ(base32_encode(fromHex(row[0])), row[1]) << row;
  }
}

TEST(Base32Decode, EveryRowOfTheTable) {
  for (const auto& row : readVectors("base32_decode.tsv", 2, 60)) {
    EXPECT_EQ(decodedHex(row[0]), orNilCell(row[1])) << row;
  }
}

// RFC 4648, section 10, with the missing bits written as "A" where the RFC writes "=".
TEST(Base32Encode, TestVectorsOfTheRfcWithoutPadding) {
  EXPECT_EQ(base32_encode(bytesOf("")), "");
  EXPECT_EQ(base32_encode(bytesOf("f")), "MYAAAAAA");
  EXPECT_EQ(base32_encode(bytesOf("fo")), "MZXQAAAA");
  EXPECT_EQ(base32_encode(bytesOf("foo")), "MZXW6AAA");
  EXPECT_EQ(base32_encode(bytesOf("foob")), "MZXW6YQA");
  EXPECT_EQ(base32_encode(bytesOf("fooba")), "MZXW6YTB");
  EXPECT_EQ(base32_encode(bytesOf("foobar")), "MZXW6YTBOIAAAAAA");
}

TEST(Base32Decode, WholeGroupOfTheRfcVectors) {
  EXPECT_EQ(decoded("MZXW6YTB"), bytesOf("fooba"));
}

TEST(Base32Decode, TextOfHelloDecodesAndEncodesBack) {
  EXPECT_EQ(decoded("JBSWY3DP"), bytesOf("Hello"));
  EXPECT_EQ(base32_encode(bytesOf("Hello")), "JBSWY3DP");
}

TEST(Base32Decode, LowerCaseReadsLikeUpperCase) {
  EXPECT_EQ(decoded("jbswy3dp"), bytesOf("Hello"));
  EXPECT_EQ(decodedHex("abcdefghijklmnopqrstuvwxyz234567"),
            decodedHex("ABCDEFGHIJKLMNOPQRSTUVWXYZ234567"));
  EXPECT_EQ(decodedHex("ABCDEFGHIJKLMNOPQRSTUVWXYZ234567"),
            "00443214c74254b635cf84653a56d7c675be77df");
}

TEST(Base32Decode, DigitZeroReadsLikeTheLetterO) {
  EXPECT_EQ(decodedHex("0AAAAAA0"), decodedHex("OAAAAAAO"));
  EXPECT_EQ(decodedHex("00000000"), "739ce739ce");
}

TEST(Base32Decode, DigitOneReadsLikeTheLetterI) {
  EXPECT_EQ(decodedHex("1AAAAAA1"), decodedHex("IAAAAAAI"));
  EXPECT_EQ(decodedHex("11111111"), "4210842108");
}

TEST(Base32Decode, DigitEightReadsLikeTheLetterB) {
  EXPECT_EQ(decodedHex("8AAAAAA8"), decodedHex("BAAAAAAB"));
  EXPECT_EQ(decodedHex("88888888"), "0842108421");
}

TEST(Base32Decode, DigitNineIsAcceptedAndItsExtraBitKept) {
  EXPECT_EQ(decodedHex("9AAAAAAA"), "0800000000");
  EXPECT_EQ(decodedHex("A9AAAAAA"), "0840000000");
  EXPECT_EQ(decodedHex("AA9AAAAA"), "0042000000");
  EXPECT_EQ(decodedHex("AAAAAAA9"), "0000000021");
}

TEST(Base32Decode, ThirteenOrFifteenCharactersAreNil) {
  EXPECT_EQ(decodedHex("JBSWY3DPEHPK3"), std::nullopt);
  EXPECT_EQ(decodedHex("JBSWY3DPEHPK3PX"), std::nullopt);
}

TEST(Base32Decode, ThirteenCharactersWithThreeLettersAAppendedEndInFifteenZeroBits) {
  EXPECT_EQ(decodedHex("JBSWY3DPEHPK3AAA"), "48656c6c6f21dead8000");
  EXPECT_EQ(decodedHex("7777777777777AAA"), "ffffffffffffffff8000");
}

TEST(Base32Decode, EqualsSignIsAnInvalidCharacter) {
  EXPECT_EQ(decodedHex("AAAAAAA="), std::nullopt);
}

TEST(Base32Decode, EmptyTextIsAnEmptyBuffer) {
  EXPECT_EQ(decoded(""), std::vector<std::uint8_t>{});
}

TEST(Base32Encode, ThreeBytesYieldEightCharactersEndingInA) {
  EXPECT_EQ(base32_encode(bytesOf("abc")), "MFRGGAAA");
}

TEST(Base32Encode, FiveZeroBytesYieldEightLettersA) {
  EXPECT_EQ(base32_encode(std::vector<std::uint8_t>(5, 0)), "AAAAAAAA");
}

TEST(Base32Encode, LengthIsEightForEveryStartedGroupOfFive) {
  for (std::size_t size = 0; size <= 41; ++size) {
    const std::string text = base32_encode(std::vector<std::uint8_t>(size, 0xFF));
    EXPECT_EQ(text.size(), (size + 4) / 5 * 8) << size;
    EXPECT_EQ(text.find_first_not_of(alphabet), std::string::npos) << text;
  }
}

TEST(Base32Decode, EveryLengthThatIsNoMultipleOfEightIsNil) {
  for (std::size_t size = 0; size <= 40; ++size) {
    EXPECT_EQ(decoded(std::string(size, 'A')).has_value(), size % 8 == 0) << size;
  }
}

TEST(Base32Decode, ErrorInALaterGroupIsNil) {
  EXPECT_EQ(decodedHex("AAAAAAAAAAAAAAA!"), std::nullopt);
  EXPECT_EQ(decodedHex("!AAAAAAAAAAAAAAA"), std::nullopt);
}

TEST(Base32Decode, EveryByteThatIsNoLetterOrDigitIsNil) {
  for (int code = 0; code < 256; ++code) {
    std::string text = "AAAAAAAA";
    text[3] = static_cast<char>(code);
    const bool letter = (code >= 'a' && code <= 'z') || (code >= 'A' && code <= 'Z');
    const bool digit = code >= '0' && code <= '9';
    EXPECT_EQ(decoded(text).has_value(), letter || digit) << code;
  }
}

TEST(Base32Decode, SmallerBufferGetsWhatFitsAndTheWholeCountIsReturned) {
  std::array<std::uint8_t, 5> buffer{1, 2, 3, 4, 5};
  EXPECT_EQ(base32_decode("JBSWY3DPJBSWY3DP", std::span(buffer).first(3)), 10U);
  EXPECT_EQ(toHex(buffer), "48656c0405");
}

TEST(Base32Decode, BufferThatEndsInTheSecondGroup) {
  std::array<std::uint8_t, 8> buffer{};
  EXPECT_EQ(base32_decode("JBSWY3DPJBSWY3DP", std::span(buffer).first(7)), 10U);
  EXPECT_EQ(toHex(buffer), "48656c6c6f486500");
}

TEST(Base32Decode, LargerBufferIsLeftAloneBehindTheBytes) {
  std::array<std::uint8_t, 7> buffer{9, 9, 9, 9, 9, 9, 9};
  EXPECT_EQ(base32_decode("JBSWY3DP", buffer), 5U);
  EXPECT_EQ(toHex(buffer), "48656c6c6f0909");
}

TEST(Base32Decode, EmptyBufferStillChecksAndCounts) {
  EXPECT_EQ(base32_decode("JBSWY3DP", std::span<std::uint8_t>()), 5U);
  EXPECT_EQ(base32_decode("JBSWY3D!", std::span<std::uint8_t>()), std::nullopt);
}

TEST(Base32CharValue, EveryCharacter) {
  for (int code = 0; code < 256; ++code) {
    const char character = static_cast<char>(code);
    int expected = -1;
    if (code >= 'a' && code <= 'z') expected = code - 'a';
    if (code >= 'A' && code <= 'Z') expected = code - 'A';
    if (code >= '2' && code <= '9') expected = code - 24;
    if (character == '0') expected = 14;
    if (character == '1') expected = 8;
    if (character == '8') expected = 1;
    std::uint8_t error = 0;
    const std::uint8_t value = base32_char_value(character, error);
    EXPECT_EQ(value, expected < 0 ? 0 : expected) << code;
    EXPECT_EQ(error, expected < 0 ? 1 : 0) << code;
  }
}

TEST(Base32CharValue, ErrorFlagIsTheLowestBitAndStaysSet) {
  std::uint8_t error = 0x82;
  base32_char_value('A', error);
  EXPECT_EQ(error, 0x82);
  base32_char_value('!', error);
  EXPECT_EQ(error, 0x83);
  base32_char_value('A', error);
  EXPECT_EQ(error, 0x83);
}

TEST(Base32, RandomBytesComeBackWithZerosUpToTheGroup) {
  std::mt19937 random(4711);
  for (int round = 0; round < 2000; ++round) {
    std::vector<std::uint8_t> bytes(random() % 40);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
    const auto back = decoded(base32_encode(bytes));
    bytes.resize((bytes.size() + 4) / 5 * 5);
    EXPECT_EQ(back, bytes);
  }
}

TEST(Base32Decode, RandomTextNeverReadsOutOfBounds) {
  std::mt19937 random(815);
  for (int round = 0; round < 20000; ++round) {
    std::string text(random() % 41, '\0');
    const bool mostly_valid = random() % 2 == 0;
    for (char& character : text) {
      character = mostly_valid && random() % 64 != 0 ? alphabet[random() % alphabet.size()]
                                                     : static_cast<char>(random());
    }
    std::array<std::uint8_t, 32> buffer{};
    const auto size = base32_decode(text, std::span(buffer).first(random() % 32));
    const bool valid =
        text.size() % 8 == 0 && std::all_of(text.begin(), text.end(), [](char character) {
          std::uint8_t error = 0;
          base32_char_value(character, error);
          return error == 0;
        });
    EXPECT_EQ(size, valid ? std::optional(text.size() / 8 * 5) : std::nullopt);
  }
}

}  // namespace
}  // namespace talvane
