// Reading the store.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>

#include "engine/vane.h"
#include "tests/engine/engine_test.h"

namespace talvane {
namespace {

using test::Lines;
using test::makeToken;
using test::seedOf;
using test::slotName;
namespace lines = test::lines;

// Sealed with the key of identity 12345.
constexpr const char* sealed16 = "ab414100edebce0889845b81684a8122fce28ca61f7b04ff";
constexpr const char* sealed13 = "2f4a6384a4c1c4086d2938ca4981e794aa0a7f72e5";

class TokenStoreTest : public test::EngineTest {
 protected:
  static Record record(const std::string& sealed, std::int64_t period = 30) {
    return Record{{"desc", std::string("Mail|Work")},
                  {"seed32", Bytes(test::fromHex(sealed))},
                  {"ek", std::int64_t{12345}},
                  {"period", period}};
  }

  /// Reads slot `slot` with the log emptied before.
  std::unique_ptr<SoftTokenInfo> read(std::uint32_t slot) {
    gateway.lines.clear();
    // A failed read must set the reference to null.
    auto token = std::make_unique<SoftTokenInfo>();
    const bool success = vane::ReadToken(slot, &token);
    EXPECT_EQ(success, token != nullptr);
    return token;
  }

  void fill(std::int32_t count) {
    for (std::int32_t slot = 0; slot < count; ++slot) {
      store(slot, makeToken("Token" + std::to_string(slot), "JBSWY3DPEHPK3PXP"));
    }
  }
};

TEST_F(TokenStoreTest, EveryRowOfTheSealingTableReads) {
  const auto identities = test::identitiesByKey();
  for (const auto& row : test::readVectors("sealed_seed.tsv", 3, 82)) {
    setIdentity(identities.at(row[0]));
    gateway.records[slotName(0)] = record(row[2]);
    const auto token = read(0);
    ASSERT_TRUE(token) << row;
    if (row[1].size() == 16) {
      EXPECT_EQ(seedOf(*token), row[1]) << row;
    } else {
      ASSERT_EQ(row[1].size(), 13U) << row;
      const auto full = vane::ExpandSeed(makeToken("", row[1]), nullptr);
      ASSERT_TRUE(full) << row;
      EXPECT_EQ(seedOf(*token), full->get()) << row;
    }
  }
}

TEST_F(TokenStoreTest, SixteenCharacterSeed) {
  gateway.records[slotName(7)] = record(sealed16, 60);
  const auto token = read(7);
  ASSERT_TRUE(token);
  EXPECT_EQ(token->description, "Mail|Work");
  EXPECT_EQ(seedOf(*token), "JBSWY3DPEHPK3PXP");
  EXPECT_EQ(token->period, 60);
  EXPECT_EQ(token->ek, 12345U);
  EXPECT_EQ(token->type, 1);
  EXPECT_EQ(token->digits, 6);
  EXPECT_EQ(token->counter, -1);
  EXPECT_EQ(gateway.lines, lines::read16(7, 60));
}

TEST_F(TokenStoreTest, ThirteenCharacterSeedIsExpanded) {
  gateway.records[slotName(0)] = record(sealed13);
  const auto token = read(0);
  ASSERT_TRUE(token);
  EXPECT_EQ(seedOf(*token), "JBSWY3DPEHPKEKMB");
  EXPECT_EQ(gateway.lines, lines::read13(0));
}

TEST_F(TokenStoreTest, EmptySlot) {
  EXPECT_FALSE(read(3));
  EXPECT_EQ(gateway.lines, lines::readNothing(3));
}

TEST_F(TokenStoreTest, RecordThatTheGatewayCannotLoadReadsAsAbsent) {
  gateway.records[slotName(3)] = record(sealed16);
  gateway.refuse_load = [](const std::string&) { return true; };
  EXPECT_FALSE(read(3));
  EXPECT_EQ(gateway.lines, lines::readNothing(3));
  EXPECT_FALSE(vane::ReadToken(3, nullptr));
}

TEST_F(TokenStoreTest, SlotIsTracedAsASignedNumber) {
  EXPECT_FALSE(read(0xFFFFFFFFU));
  EXPECT_EQ(gateway.lines, lines::readNothing(-1));
}

TEST_F(TokenStoreTest, NullReferenceOnlyTestsThatTheRecordExists) {
  gateway.records[slotName(4)] = Record{};
  EXPECT_TRUE(vane::ReadToken(4, nullptr));
  Lines expected = lines::readBegin(4);
  expected += Lines{"  vane::ReadToken: end: returning YES"};
  EXPECT_EQ(gateway.lines, expected);
  gateway.lines.clear();
  EXPECT_FALSE(vane::ReadToken(5, nullptr));
  EXPECT_EQ(gateway.lines, lines::readNothing(5));
}

TEST_F(TokenStoreTest, SeedOfAnyOtherLengthIsRefused) {
  for (std::size_t length = 0; length <= 64; ++length) {
    if (length == 21 || length == 24) continue;
    Record damaged = record(sealed16);
    Bytes seed = test::fromHex(sealed16);
    seed.resize(length);
    damaged["seed32"] = seed;
    gateway.records[slotName(0)] = damaged;
    EXPECT_FALSE(read(0)) << length;
    Lines expected = lines::readBegin(0);
    expected += Lines{"  vane::ReadToken:   period: 30", "  vane::ReadToken:   version 502 seed",
                      "  vane::ReadToken:   bad length",
                      "  vane::ReadToken: seed32 Nil: releasing token, returning Nil"};
    EXPECT_EQ(gateway.lines, expected) << length;
  }
}

TEST_F(TokenStoreTest, MissingSeedIsRefusedAsBadLength) {
  gateway.records[slotName(0)] = Record{{"desc", std::string("Mail")}};
  EXPECT_FALSE(read(0));
  Lines expected = lines::readBegin(0);
  expected += Lines{"  vane::ReadToken:   no period, using 30",
                    "  vane::ReadToken:   version 502 seed", "  vane::ReadToken:   bad length",
                    "  vane::ReadToken: seed32 Nil: releasing token, returning Nil"};
  EXPECT_EQ(gateway.lines, expected);
}

TEST_F(TokenStoreTest, RecordWithoutPeriodReadsWithThirty) {
  gateway.records[slotName(0)] = record(sealed16);
  gateway.records[slotName(0)].erase("period");
  const auto token = read(0);
  ASSERT_TRUE(token);
  EXPECT_EQ(token->period, 30);
  EXPECT_EQ(test::countOf(gateway.lines, "  vane::ReadToken:   no period, using 30"), 1U);
  EXPECT_TRUE(test::linesWith(gateway.lines, "  vane::ReadToken:   period:").empty());
}

TEST_F(TokenStoreTest, PeriodThatIsNotPositiveReadsAsThirty) {
  for (const std::int64_t period : {std::int64_t{0}, std::int64_t{-1}, std::int64_t{-60},
                                    std::int64_t{INT32_MIN}, std::int64_t{INT64_MIN}}) {
    gateway.records[slotName(0)] = record(sealed16, period);
    const auto token = read(0);
    ASSERT_TRUE(token) << period;
    EXPECT_EQ(token->period, 30) << period;
    EXPECT_EQ(test::countOf(gateway.lines, "  vane::ReadToken:   no period, using 30"), 1U);
  }
}

TEST_F(TokenStoreTest, OtherPeriodsAreReadAsTheyAre) {
  for (const std::int32_t period : {1, 45, 60, INT32_MAX}) {
    gateway.records[slotName(0)] = record(sealed16, period);
    const auto token = read(0);
    ASSERT_TRUE(token);
    EXPECT_EQ(token->period, period);
  }
}

TEST_F(TokenStoreTest, PeriodBeyondThirtyTwoBitsReadsAsThirty) {
  for (const std::int64_t period :
       {std::int64_t{INT32_MAX} + 1, std::int64_t{1} << 32U, std::int64_t{INT64_MAX}}) {
    gateway.records[slotName(0)] = record(sealed16, period);
    const auto token = read(0);
    ASSERT_TRUE(token);
    EXPECT_EQ(token->period, 30) << period;
    EXPECT_EQ(test::countOf(gateway.lines, "  vane::ReadToken:   no period, using 30"), 1U);
  }
}

TEST_F(TokenStoreTest, RecordWithoutEkReadsWithZeroAndTheNextWriteStoresTheIdentity) {
  gateway.records[slotName(0)] = record(sealed16);
  gateway.records[slotName(0)].erase("ek");
  const auto token = read(0);
  ASSERT_TRUE(token);
  EXPECT_EQ(token->ek, 0U);
  EXPECT_EQ(test::countOf(gateway.lines, "  vane::ReadToken:   no ek"), 1U);
  EXPECT_TRUE(test::linesWith(gateway.lines, "  vane::ReadToken:   got ek").empty());
  store(0, *token);
  EXPECT_EQ(gateway.records[slotName(0)].at("ek"), RecordValue(std::int64_t{12345}));
}

TEST_F(TokenStoreTest, EkIsUnsigned) {
  gateway.records[slotName(0)] = record(sealed16);
  gateway.records[slotName(0)]["ek"] = std::int64_t{4294967295};
  const auto token = read(0);
  ASSERT_TRUE(token);
  EXPECT_EQ(token->ek, 4294967295U);
  EXPECT_EQ(test::countOf(gateway.lines, "  vane::ReadToken:   got ek:4294967295"), 1U);
}

TEST_F(TokenStoreTest, RecordWithoutDescriptionReadsWithoutOne) {
  gateway.records[slotName(0)] = record(sealed16);
  gateway.records[slotName(0)].erase("desc");
  const auto token = read(0);
  ASSERT_TRUE(token);
  EXPECT_EQ(token->description, std::nullopt);
}

TEST_F(TokenStoreTest, FingerprintsAreNotReadBack) {
  gateway.records[slotName(0)] = record(sealed16);
  gateway.records[slotName(0)]["fpsn"] = std::string("another machine");
  gateway.records[slotName(0)]["fpus"] = std::int64_t{5};
  EXPECT_TRUE(read(0));
}

// The seeds are chosen so that under bob's key they still look like seeds.
TEST_F(TokenStoreTest, SameRecordUnderAnotherUserAccountFailsTheHashMatch) {
  gateway.identity.reset();
  gateway.serial = "C02XK0AAJGH5";
  gateway.volume = "5B1C0D3E-7F2A-3C4D-9E8F-0A1B2C3D4E5F";
  const std::string alice = "aliceALICE501FFFFEEEE-DDDD-CCCC-BBBB-AAAA000001F5";
  const std::string bob = "bobBOB502FFFFEEEE-DDDD-CCCC-BBBB-AAAA000001F6";
  const Lines ending{"  vane::ReadToken: hash match failed",
                     "  vane::ReadToken: seed32 Nil: releasing token, returning Nil"};
  for (const char* sealed : {"d77490d903cf1474705bf8e963d5b1f9a9536dcf0bcff12d",
                             "96d490db23487495b0fbb8e803b6481ddb7fdbff52"}) {
    gateway.records[slotName(0)] = record(sealed);
    gateway.user = alice;
    vane::SetInterface(&gateway);
    EXPECT_TRUE(read(0)) << sealed;
    gateway.user = bob;
    EXPECT_FALSE(read(0)) << sealed;
    EXPECT_EQ(Lines(gateway.lines.end() - 2, gateway.lines.end()), ending) << sealed;
    gateway.user = alice;
    EXPECT_TRUE(read(0)) << sealed;
  }
}

TEST_F(TokenStoreTest, StoreOfAnotherDeviceReadsAsEmpty) {
  fill(3);
  setIdentity(166668227);
  vane::TokenArray tokens;
  EXPECT_EQ(vane::ReadAllTokens(tokens), 0);
  setIdentity(12345);
  EXPECT_EQ(vane::ReadAllTokens(tokens), 3);
}

TEST_F(TokenStoreTest, ReadAllOfAnEmptyStoreIsZeroAndSetsTheFirstElementToNull) {
  vane::TokenArray tokens;
  for (auto& token : tokens) token = std::make_unique<SoftTokenInfo>();
  EXPECT_EQ(vane::ReadAllTokens(tokens), 0);
  EXPECT_EQ(tokens[0], nullptr);
}

TEST_F(TokenStoreTest, ReadAllReadsInOrderAndEndsWithNull) {
  fill(5);
  vane::TokenArray tokens;
  for (auto& token : tokens) token = std::make_unique<SoftTokenInfo>();
  gateway.loads = 0;
  EXPECT_EQ(vane::ReadAllTokens(tokens), 5);
  EXPECT_EQ(gateway.loads, 6U);
  for (std::size_t slot = 0; slot < 5; ++slot) {
    ASSERT_TRUE(tokens.at(slot));
    EXPECT_EQ(tokens.at(slot)->description, "Token" + std::to_string(slot));
  }
  EXPECT_EQ(tokens[5], nullptr);
}

TEST_F(TokenStoreTest, ReadAllOfAFullStoreReadsThirtyTwo) {
  fill(32);
  gateway.records[slotName(32)] = record(sealed16);
  vane::TokenArray tokens;
  gateway.loads = 0;
  EXPECT_EQ(vane::ReadAllTokens(tokens), 32);
  EXPECT_EQ(gateway.loads, 32U);
  EXPECT_EQ(tokens[31]->description, "Token31");
}

TEST_F(TokenStoreTest, ReadAllStopsAtAGap) {
  fill(5);
  gateway.records.erase(slotName(2));
  vane::TokenArray tokens;
  EXPECT_EQ(vane::ReadAllTokens(tokens), 2);
  EXPECT_EQ(tokens[2], nullptr);
}

TEST_F(TokenStoreTest, ReadAllReadsThroughOneLookAtTheKeychain) {
  fill(3);
  gateway.reads_in_one_look = true;
  vane::TokenArray tokens;
  EXPECT_EQ(vane::ReadAllTokens(tokens), 3);
  // A second reading looks again.
  gateway.records.erase(slotName(1));
  EXPECT_EQ(vane::ReadAllTokens(tokens), 1);
}

TEST_F(TokenStoreTest, LinesOfReadAllAreThoseOfTheReads) {
  gateway.records[slotName(0)] = record(sealed16);
  gateway.records[slotName(1)] = record(sealed13, 60);
  vane::TokenArray tokens;
  EXPECT_EQ(vane::ReadAllTokens(tokens), 2);
  Lines expected = lines::read16(0);
  expected += lines::read13(1, 60);
  expected += lines::readNothing(2);
  EXPECT_EQ(gateway.lines, expected);
}

TEST_F(TokenStoreTest, WithoutAGatewayThereAreNoTokens) {
  vane::SetInterface(nullptr);
  std::unique_ptr<SoftTokenInfo> token = std::make_unique<SoftTokenInfo>();
  EXPECT_FALSE(vane::ReadToken(0, &token));
  EXPECT_EQ(token, nullptr);
  EXPECT_FALSE(vane::ReadToken(0, nullptr));
  vane::TokenArray tokens;
  tokens[0] = std::make_unique<SoftTokenInfo>();
  EXPECT_EQ(vane::ReadAllTokens(tokens), 0);
  EXPECT_EQ(tokens[0], nullptr);
}

}  // namespace
}  // namespace talvane
