#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

#include "engine/vane.h"
#include "tests/engine/engine_test.h"

namespace talvane {
namespace {

using std::string_view_literals::operator""sv;
using LoginStringTest = test::EngineTest;

TEST_F(LoginStringTest, EveryRowOfTheEncodingTable) {
  for (const auto& row : test::readVectors("url_encoded.tsv", 2, 8)) {
    EXPECT_EQ(vane::URLEncodedString(row[0]), row[1]) << row;
  }
}

TEST_F(LoginStringTest, BlankAndAmpersandAndAnAccentAreEncoded) {
  EXPECT_EQ(vane::URLEncodedString("a b&c"), "a%20b%26c");
  EXPECT_EQ(vane::URLEncodedString("é"), "%C3%A9");
}

TEST_F(LoginStringTest, EmptyTextStaysEmpty) {
  EXPECT_EQ(vane::URLEncodedString(""), "");
}

TEST_F(LoginStringTest, UnreservedCharactersAreCopied) {
  constexpr std::string_view unreserved =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
  EXPECT_EQ(vane::URLEncodedString(unreserved), unreserved);
}

TEST_F(LoginStringTest, EveryOtherByteIsEncodedInUpperCase) {
  constexpr std::string_view unreserved =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
  constexpr std::string_view digits = "0123456789ABCDEF";
  for (unsigned code = 0; code < 256; ++code) {
    const std::string byte(1, static_cast<char>(code));
    if (unreserved.find(byte) != std::string_view::npos) continue;
    const std::string expected{'%', digits[code / 16], digits[code % 16]};
    EXPECT_EQ(vane::URLEncodedString(byte), expected) << code;
  }
}

TEST_F(LoginStringTest, EveryRowOfTheLoginTable) {
  for (const auto& row : test::readVectors("qr_login.tsv", 5, 41)) {
    EXPECT_EQ(vane::GenerateFlickpassQrcodeWithUsername(row[0], row[1], row[2], row[3]), row[4])
        << row;
  }
}

TEST_F(LoginStringTest, SecondPasscodeOfZerosXorsWithOne) {
  const std::string text = vane::GenerateFlickpassQrcodeWithUsername("jo", "1", "1", "000000");
  EXPECT_EQ(text, "01543C6B6E27513C3027713C302771333C313131313131");
  // K, then "U=jo&P=1&p=1&p2=000000" with every lowest bit turned over.
  std::string plain;
  for (const std::uint8_t byte : test::fromHex(text)) plain += static_cast<char>(byte ^ 1);
  EXPECT_EQ(plain, "\0U=jo&P=1&p=1&p2=000000"sv);
}

TEST_F(LoginStringTest, NameAndPinAreEncodedAndThePasscodesAreNot) {
  EXPECT_EQ(vane::GenerateFlickpassQrcodeWithUsername("é", "p q", "11|", "12"),
            "D287EFF791E1F793EBF482EFA2F7E0E2A3F4A2EFE3E3AEF4A2E0EFE3E0");
}

TEST_F(LoginStringTest, EmptyTexts) {
  EXPECT_EQ(vane::GenerateFlickpassQrcodeWithUsername("", "", "", ""),
            "C194FCE791FCE7B1FCE7B1F3FC");
}

TEST_F(LoginStringTest, ScrambleValueWrapsAround) {
  EXPECT_EQ(vane::GenerateFlickpassQrcodeWithUsername("u", "p", "p1", "zzzzzz"),
            "E1B4DC94C7B1DC91C791DC91D0C791D3DC9B9B9B9B9B9B");
}

TEST_F(LoginStringTest, AccentInTheSecondPasscode) {
  EXPECT_EQ(vane::GenerateFlickpassQrcodeWithUsername("u", "p", "p1", "éabcd"),
            "70254D0556204D0056004D00415600424DB3D911121314");
}

TEST_F(LoginStringTest, OnlyTheFirstSixBytesMakeTheScrambleValue) {
  EXPECT_EQ(vane::GenerateFlickpassQrcodeWithUsername("u", "p", "1", "123456").substr(0, 2),
            vane::GenerateFlickpassQrcodeWithUsername("u", "p", "1", "123456789").substr(0, 2));
}

TEST_F(LoginStringTest, ShortPasscodeEndsWhereItEnds) {
  for (std::size_t length = 0; length < 6; ++length) {
    const std::string_view beginning = "999999"sv.substr(0, length);
    const std::string alone(beginning);
    EXPECT_EQ(vane::GenerateFlickpassQrcodeWithUsername("jo", "1", "1", beginning),
              vane::GenerateFlickpassQrcodeWithUsername("jo", "1", "1", alone))
        << length;
  }
}

TEST_F(LoginStringTest, LengthIsTwoAndTwoForEachByteForAnyInput) {
  std::mt19937 random(12);
  for (int round = 0; round < 5000; ++round) {
    std::string passcode1(random() % 9, '\0');
    std::string passcode2(random() % 9, '\0');
    for (char& character : passcode1) character = static_cast<char>(random());
    for (char& character : passcode2) character = static_cast<char>(random());
    const std::string text =
        vane::GenerateFlickpassQrcodeWithUsername("u", "p", passcode1, passcode2);
    EXPECT_EQ(text.size(), 2 + 2 * (std::string_view("U=u&P=p&p=&p2=").size() + passcode1.size() +
                                    passcode2.size()));
    EXPECT_EQ(text.find_first_not_of("0123456789ABCDEF"), std::string::npos);
  }
}

}  // namespace
}  // namespace talvane
