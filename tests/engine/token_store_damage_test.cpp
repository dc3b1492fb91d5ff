// Reading records that are damaged, foreign or hostile.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <random>
#include <string>

#include "engine/vane.h"
#include "tests/engine/decoded.h"
#include "tests/engine/engine_test.h"

namespace talvane {
namespace {

using test::Lines;
using test::slotName;
namespace lines = test::lines;

constexpr const char* sealed16 = "ab414100edebce0889845b81684a8122fce28ca61f7b04ff";
constexpr const char* sealed13 = "2f4a6384a4c1c4086d2938ca4981e794aa0a7f72e5";

class TokenStoreDamageTest : public test::EngineTest {
 protected:
  std::unique_ptr<SoftTokenInfo> read(const Record& record) {
    gateway.records[slotName(0)] = record;
    gateway.lines.clear();
    auto token = std::make_unique<SoftTokenInfo>();
    const bool success = vane::ReadToken(0, &token);
    EXPECT_EQ(success, token != nullptr);
    return token;
  }

  std::unique_ptr<SoftTokenInfo> readSeed(const Bytes& sealed) {
    return read(Record{{"desc", std::string("Mail")},
                       {"seed32", sealed},
                       {"ek", std::int64_t{12345}},
                       {"period", std::int64_t{30}}});
  }

  Lines lastTwo() const { return {gateway.lines.end() - 2, gateway.lines.end()}; }
};

TEST_F(TokenStoreDamageTest, SeedThatDoesNotDecode) {
  Bytes sealed = test::fromHex(sealed16);
  sealed[5] ^= 0xFF;
  EXPECT_FALSE(readSeed(sealed));
  EXPECT_EQ(lastTwo(), (Lines{"  vane::ReadToken: base32 decode failed",
                              "  vane::ReadToken: seed32 Nil: releasing token, returning Nil"}));
  EXPECT_TRUE(test::linesWith(gateway.lines, "  vane::ReadToken: hash:").empty());
}

TEST_F(TokenStoreDamageTest, HashThatDoesNotMatch) {
  Bytes sealed = test::fromHex(sealed16);
  sealed[23] ^= 1;
  EXPECT_FALSE(readSeed(sealed));
  Lines expected = lines::readBegin(0);
  expected += Lines{"  vane::ReadToken:   period: 30", "  vane::ReadToken:   version 502 seed",
                    "  vane::ReadToken:   got ek:12345"};
  expected += lines::unseal16();
  expected += Lines{"  vane::ReadToken: hash: 2JOGR2BV"};
  expected += lines::seedHash("JBSWY3DPEHPK3PXP", "JBSWY3DPEHPK3PXP", "2JOGR2BW");
  expected += Lines{"  vane::ReadToken: hash match failed",
                    "  vane::ReadToken: seed32 Nil: releasing token, returning Nil"};
  EXPECT_EQ(gateway.lines, expected);
}

TEST_F(TokenStoreDamageTest, HashOfAThirteenCharacterSeedThatDoesNotMatch) {
  Bytes sealed = test::fromHex(sealed13);
  sealed[13] ^= 2;
  EXPECT_FALSE(readSeed(sealed));
  Lines expected = lines::readBegin(0);
  expected += Lines{"  vane::ReadToken:   period: 30", "  vane::ReadToken:   version 502 seed",
                    "  vane::ReadToken:   got ek:12345"};
  expected += lines::unseal13();
  expected += Lines{"  vane::ReadToken: hash: MOWKG64M"};
  expected += lines::seedHash("JBSWY3DPEHPK3", "JBSWY3DPEHPK3AAA", "OOWKG64M");
  expected += Lines{"  vane::ReadToken: hash match failed",
                    "  vane::ReadToken: seed32 Nil: releasing token, returning Nil"};
  EXPECT_EQ(gateway.lines, expected);
}

// The seed YZG7ELOPFFFXER5O, whose first passcode of the hash is 000000.
TEST_F(TokenStoreDamageTest, SeedThatHasNoHash) {
  EXPECT_FALSE(readSeed(test::fromHex("06c54a28ec258d63ab6b5bc04160e0438fe982a00c0807e9")));
  EXPECT_EQ(lastTwo(), (Lines{"  vane::ReadToken: hash generation failed",
                              "  vane::ReadToken: seed32 Nil: releasing token, returning Nil"}));
  EXPECT_EQ(test::countOf(gateway.lines, "  vane::GenerateSeedHash: error 1i"), 1U);
}

TEST_F(TokenStoreDamageTest, HashIsComparedExactly) {
  // The hash's first letter in lower case.
  Bytes sealed = test::fromHex(sealed13);
  sealed[13] ^= 0x20;
  EXPECT_FALSE(readSeed(sealed));
  EXPECT_EQ(lastTwo()[0], "  vane::ReadToken: hash match failed");
}

// Some flips turn a seed letter into its lower case, which is the same seed.
TEST_F(TokenStoreDamageTest, EverySingleBitFlipReadsAsAbsentOrAsTheSameSeed) {
  for (const char* hex : {sealed16, sealed13}) {
    const Bytes original = test::fromHex(hex);
    const auto intact = readSeed(original);
    ASSERT_TRUE(intact);
    const auto expected = test::decoded(test::seedOf(*intact));
    for (std::size_t bit = 0; bit < original.size() * 8; ++bit) {
      Bytes sealed = original;
      sealed[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
      const auto token = readSeed(sealed);
      const bool in_hash = bit / 8 >= original.size() - 8;
      if (in_hash) {
        EXPECT_FALSE(token) << bit;
      } else if (token) {
        EXPECT_EQ(test::decoded(test::seedOf(*token)), expected) << bit;
      }
    }
  }
}

TEST_F(TokenStoreDamageTest, RandomlyChangedBytesReadAsAbsentOrAsTheSameSeed) {
  std::mt19937 random(502);
  for (const char* hex : {sealed16, sealed13}) {
    const Bytes original = test::fromHex(hex);
    const auto intact = readSeed(original);
    ASSERT_TRUE(intact);
    const auto expected = test::decoded(test::seedOf(*intact));
    int absent = 0;
    for (int round = 0; round < 5000; ++round) {
      Bytes sealed = original;
      for (std::size_t changes = 1 + random() % 4; changes > 0; --changes) {
        sealed[random() % sealed.size()] = static_cast<std::uint8_t>(random());
      }
      const auto token = readSeed(sealed);
      if (!token) {
        ++absent;
      } else {
        EXPECT_EQ(test::decoded(test::seedOf(*token)), expected);
      }
    }
    EXPECT_GT(absent, 4500);
  }
}

TEST_F(TokenStoreDamageTest, RandomBytesOfTheRightLengthReadAsAbsent) {
  std::mt19937 random(503);
  for (int round = 0; round < 5000; ++round) {
    setIdentity(static_cast<std::uint32_t>(random() & 0x7FFFFFFFU));
    Bytes sealed(random() % 2 == 0 ? 21 : 24);
    for (auto& byte : sealed) byte = static_cast<std::uint8_t>(random());
    EXPECT_FALSE(readSeed(sealed));
  }
}

TEST_F(TokenStoreDamageTest, SeedOfAnotherTypeIsRefused) {
  EXPECT_FALSE(read(Record{{"seed32", std::string("JBSWY3DPEHPK3PXP2JOGR2BW")}}));
  EXPECT_FALSE(read(Record{{"seed32", std::int64_t{24}}}));
}

TEST_F(TokenStoreDamageTest, OtherValuesOfAnotherTypeCountAsMissing) {
  const auto token = read(Record{{"desc", Bytes{1, 2}},
                                 {"seed32", Bytes(test::fromHex(sealed16))},
                                 {"ek", std::string("12345")},
                                 {"period", Bytes{}}});
  ASSERT_TRUE(token);
  EXPECT_EQ(token->description, std::nullopt);
  EXPECT_EQ(token->ek, 0U);
  EXPECT_EQ(token->period, 30);
}

TEST_F(TokenStoreDamageTest, EkOutsideThirtyTwoBitsDoesNotCrash) {
  for (const std::int64_t ek : {std::int64_t{-1}, std::int64_t{1} << 40U, std::int64_t{INT64_MIN},
                                std::int64_t{INT64_MAX}}) {
    EXPECT_TRUE(read(Record{{"seed32", Bytes(test::fromHex(sealed16))}, {"ek", ek}}));
  }
}

TEST_F(TokenStoreDamageTest, DescriptionThatIsNotUtf8IsKeptAsItIs) {
  const auto token =
      read(Record{{"desc", std::string("\xFF|\xC3")}, {"seed32", Bytes(test::fromHex(sealed16))}});
  ASSERT_TRUE(token);
  EXPECT_EQ(token->originalDescription(), "\xFF");
  EXPECT_EQ(token->currentDescription(), "\xC3");
}

TEST_F(TokenStoreDamageTest, DamagedRecordHidesTheTokensBehindIt) {
  for (std::int32_t slot = 0; slot < 4; ++slot) {
    store(slot, test::makeToken("Token" + std::to_string(slot), "JBSWY3DPEHPK3PXP"));
  }
  gateway.records[slotName(1)]["seed32"] = Bytes(24, 0);
  vane::TokenArray tokens;
  EXPECT_EQ(vane::ReadAllTokens(tokens), 1);
  EXPECT_TRUE(vane::ReadToken(1, nullptr));
  vane::DeleteToken(1);
  EXPECT_EQ(vane::ReadAllTokens(tokens), 1);
  store(1, test::makeToken("New", "JBSWY3DPEHPK3PXP"));
  EXPECT_EQ(vane::ReadAllTokens(tokens), 4);
}

}  // namespace
}  // namespace talvane
