#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>

#include "engine/base32.h"
#include "engine/vane.h"
#include "tests/engine/engine_test.h"

namespace talvane {
namespace {

using test::Lines;
using test::makeToken;
using test::slotName;
namespace lines = test::lines;

constexpr const char* seed16 = "JBSWY3DPEHPK3PXP";
constexpr const char* seed13 = "JBSWY3DPEHPK3";

class TokenCreationTest : public test::EngineTest {
 protected:
  TokenCreationTest() { gateway.time = 1700000000; }

  std::optional<std::string> create(const SoftTokenInfo& token, bool dummy = false) {
    response_.reset();
    slot_ = -77;
    return vane::NewToken(token, &response_, &slot_, dummy);
  }

  void fill(std::int32_t count) {
    for (std::int32_t slot = 0; slot < count; ++slot) {
      store(slot, makeToken("Token" + std::to_string(slot), seed16));
    }
    gateway.lines.clear();
    gateway.changes.clear();
  }

  static Lines endLines(std::int32_t slot) {
    return {"  vane: NewToken: updating index[out]:" + std::to_string(slot),
            "  vane: NewToken: returning nil (OK)"};
  }

  /// Up to the response, at the time 1700000000 with a period of 30.
  static Lines begin13() {
    Lines lines{"  vane: NewToken: temporary seed: JBSWY3DPEHPK3AAA",
                "  vane: NewToken: seed length 13"};
    lines += lines::expand13();
    lines += lines::passcode("JBSWY3DPEHPKEKMB", 56666666);
    lines +=
        Lines{"  vane: NewToken: Passcode (long): 714663", "vane: NewToken: Response: VZ5HEKMB"};
    return lines;
  }

  std::optional<std::string> response_;
  std::int32_t slot_ = 0;
};

TEST_F(TokenCreationTest, EveryRowOfTheResponseTable) {
  const auto identities = test::identitiesByKey();
  for (const auto& row : test::readVectors("response_code.tsv", 5, 82)) {
    setIdentity(identities.at(row[0]));
    gateway.time = std::stoll(row[3]);
    const SoftTokenInfo token = makeToken("Mail", row[1], std::stoi(row[2]));
    EXPECT_EQ(create(token, true), std::nullopt) << row;
    EXPECT_EQ(response_, test::orNilCell(row[4])) << row;
  }
  EXPECT_TRUE(gateway.changes.empty());
}

TEST_F(TokenCreationTest, SixteenCharacterSeedIsStoredWithoutAResponse) {
  EXPECT_EQ(create(makeToken("Mail", seed16)), std::nullopt);
  EXPECT_EQ(response_, std::nullopt);
  EXPECT_EQ(slot_, 0);
  EXPECT_EQ(names(), Lines{"Mail"});
}

TEST_F(TokenCreationTest, ResponseIsLeftAloneForSixteenCharacters) {
  std::optional<std::string> response = "as it was";
  EXPECT_EQ(vane::NewToken(makeToken("Mail", seed16), &response, nullptr, false), std::nullopt);
  EXPECT_EQ(response, "as it was");
}

TEST_F(TokenCreationTest, ThirteenCharacterSeedIsStoredAsItsRoot) {
  EXPECT_EQ(create(makeToken("Mail", seed13)), std::nullopt);
  EXPECT_EQ(response_, "VZ5HEKMB");
  EXPECT_EQ(slot_, 0);
  EXPECT_EQ(std::get<Bytes>(gateway.records.at(slotName(0)).at("seed32")),
            test::fromHex("2f4a6384a4c1c4086d2938ca4981e794aa0a7f72e5"));
}

TEST_F(TokenCreationTest, ResponseFollowsThePeriod) {
  EXPECT_EQ(create(makeToken("Mail", seed13, 60), true), std::nullopt);
  EXPECT_EQ(response_, "GFMREKMB");
}

TEST_F(TokenCreationTest, FourteenCharacterSeedHasAnInvalidLength) {
  EXPECT_EQ(create(makeToken("Mail", "JBSWY3DPEHPK3P")), "Invalid seed length");
  EXPECT_EQ(gateway.lines, Lines{"  vane: NewToken: invalid seed length (14)"});
  EXPECT_EQ(slot_, -77);
  EXPECT_EQ(response_, std::nullopt);
  EXPECT_TRUE(gateway.records.empty());
}

TEST_F(TokenCreationTest, OtherLengthsAreInvalid) {
  for (std::size_t length = 0; length <= 40; ++length) {
    const auto expected = length == 13 || length == 16
                              ? std::nullopt
                              : std::optional<std::string>("Invalid seed length");
    EXPECT_EQ(create(makeToken("Mail", std::string(length, 'B')), true), expected) << length;
  }
}

TEST_F(TokenCreationTest, MissingSeedHasAnInvalidLength) {
  EXPECT_EQ(create(SoftTokenInfo()), "Invalid seed length");
  EXPECT_EQ(gateway.lines, Lines{"  vane: NewToken: invalid seed length (0)"});
}

TEST_F(TokenCreationTest, InvalidCharacterInASixteenCharacterSeed) {
  EXPECT_EQ(create(makeToken("Mail", "JBSWY3DPEHPK3PX!")), "Invalid character in seed");
  EXPECT_EQ(gateway.lines, (Lines{"  vane: NewToken: temporary seed: JBSWY3DPEHPK3PX!",
                                  "  vane: NewToken: base32 decode failed"}));
  EXPECT_EQ(slot_, -77);
  EXPECT_TRUE(gateway.records.empty());
}

TEST_F(TokenCreationTest, InvalidCharacterInAThirteenCharacterSeed) {
  EXPECT_EQ(create(makeToken("Mail", "JBSWY3DP HPK3")), "Invalid character in seed");
  EXPECT_EQ(gateway.lines, (Lines{"  vane: NewToken: temporary seed: JBSWY3DP HPK3AAA",
                                  "  vane: NewToken: base32 decode failed"}));
}

TEST_F(TokenCreationTest, ThirteenCharactersWithAnAccentAreAnInvalidCharacter) {
  EXPECT_EQ(create(makeToken("Mail", "JBSWY3DPEHPKÉ")), "Invalid character in seed");
  EXPECT_EQ(gateway.lines, (Lines{"  vane: NewToken: temporary seed: JBSWY3DPEHPKÉAAA",
                                  "  vane: NewToken: convert to C string failed"}));
}

TEST_F(TokenCreationTest, LengthCountsUtf16CodeUnits) {
  // Fourteen and eleven letters and a character of two code units.
  EXPECT_EQ(create(makeToken("Mail", "JBSWY3DPEHPK3P😀")), "Invalid character in seed");
  EXPECT_EQ(create(makeToken("Mail", "JBSWY3DPEHP😀")), "Invalid character in seed");
  // Thirteen and sixteen bytes, one character fewer.
  EXPECT_EQ(create(makeToken("Mail", "JBSWY3DPEHPÉ")), "Invalid seed length");
  EXPECT_EQ(create(makeToken("Mail", "JBSWY3DPEHPK3PÉ")), "Invalid seed length");
  // Bytes that are no text count one each.
  EXPECT_EQ(create(makeToken("Mail", "JBSWY3DPEHPK\xFF")), "Invalid character in seed");
}

TEST_F(TokenCreationTest, LowerCaseSeedsAreAccepted) {
  EXPECT_EQ(create(makeToken("Mail", "jbswy3dpehpk3")), std::nullopt);
  EXPECT_EQ(response_, "VZ5HEKMB");
  EXPECT_EQ(create(makeToken("Work", "jbswy3dpehpk3pxp")), std::nullopt);
  EXPECT_EQ(names(), (Lines{"Mail", "Work"}));
}

TEST_F(TokenCreationTest, DummyRunOfAThirteenCharacterSeedYieldsAResponseAndStoresNothing) {
  EXPECT_EQ(create(makeToken("Mail", seed13), true), std::nullopt);
  EXPECT_EQ(response_, "VZ5HEKMB");
  EXPECT_EQ(slot_, -2);
  EXPECT_TRUE(gateway.records.empty());
  EXPECT_TRUE(gateway.changes.empty());
  Lines expected = begin13();
  expected += Lines{"  vane: NewToken: dummy run, not writing"};
  expected += endLines(-2);
  EXPECT_EQ(gateway.lines, expected);
}

TEST_F(TokenCreationTest, DummyRunOfASixteenCharacterSeed) {
  EXPECT_EQ(create(makeToken("Mail", seed16), true), std::nullopt);
  EXPECT_EQ(response_, std::nullopt);
  EXPECT_EQ(slot_, -2);
  EXPECT_TRUE(gateway.changes.empty());
  Lines expected{"  vane: NewToken: temporary seed: JBSWY3DPEHPK3PXP",
                 "  vane: NewToken: seed length 16", "  vane: NewToken: dummy run, not writing"};
  expected += endLines(-2);
  EXPECT_EQ(gateway.lines, expected);
}

TEST_F(TokenCreationTest, LinesOfAStoredSixteenCharacterSeed) {
  EXPECT_EQ(create(makeToken("Mail", seed16)), std::nullopt);
  Lines expected{"  vane: NewToken: temporary seed: JBSWY3DPEHPK3PXP",
                 "  vane: NewToken: seed length 16",
                 "  vane::WriteToken: begin: index:-2  desc:Mail | Mail",
                 "  vane::WriteToken: [-2] reading index: 0"};
  expected += lines::readNothing(0);
  expected += Lines{"  vane::WriteToken: [-2] matching desc not found"};
  expected += lines::readNothing(0);
  expected += Lines{"  vaneWriteToken: index: 0"};
  expected += lines::write16(0);
  expected += endLines(0);
  EXPECT_EQ(test::withoutZeroLines(gateway.lines), expected);
}

TEST_F(TokenCreationTest, LinesOfAStoredThirteenCharacterSeed) {
  EXPECT_EQ(create(makeToken("Mail", seed13)), std::nullopt);
  Lines expected = begin13();
  expected += Lines{"  vane::WriteToken: begin: index:-2  desc:Mail | Mail",
                    "  vane::WriteToken: [-2] reading index: 0"};
  expected += lines::readNothing(0);
  expected += Lines{"  vane::WriteToken: [-2] matching desc not found"};
  expected += lines::readNothing(0);
  expected += Lines{"  vaneWriteToken: index: 0"};
  expected += lines::write13(0);
  expected += endLines(0);
  EXPECT_EQ(gateway.lines, expected);
}

TEST_F(TokenCreationTest, WithoutASlotPointerTheSlotIsNotLogged) {
  std::optional<std::string> response;
  EXPECT_EQ(vane::NewToken(makeToken("Mail", seed13), &response, nullptr, true), std::nullopt);
  EXPECT_EQ(response, "VZ5HEKMB");
  Lines expected = begin13();
  expected +=
      Lines{"  vane: NewToken: dummy run, not writing", "  vane: NewToken: returning nil (OK)"};
  EXPECT_EQ(gateway.lines, expected);
}

TEST_F(TokenCreationTest, FirstPasscodeOfZerosIsRefused) {
  gateway.time = 1237419120;
  EXPECT_EQ(create(makeToken("Mail", seed13)), "Failed to generate passcode");
  Lines expected{"  vane: NewToken: temporary seed: JBSWY3DPEHPK3AAA",
                 "  vane: NewToken: seed length 13"};
  expected += lines::expand13();
  expected += lines::passcode("JBSWY3DPEHPKEKMB", 41247304);
  expected += Lines{"  vane: NewToken: Generate passcode 0"};
  EXPECT_EQ(gateway.lines, expected);
  EXPECT_EQ(response_, std::nullopt);
  EXPECT_EQ(slot_, -77);
  EXPECT_TRUE(gateway.changes.empty());
}

TEST_F(TokenCreationTest, SeedWithoutAHashIsNotStored) {
  EXPECT_EQ(create(makeToken("Mail", "YZG7ELOPFFFXER5O")), std::nullopt);
  EXPECT_TRUE(gateway.records.empty());
  EXPECT_EQ(test::countOf(gateway.lines, "  vane::WriteToken:   GenerateSeedHash failed"), 1U);
}

TEST_F(TokenCreationTest, FullStoreReturnsNilAndSlot32AndStoresNothing) {
  fill(32);
  const auto before = gateway.records;
  EXPECT_EQ(create(makeToken("One more", seed13)), std::nullopt);
  EXPECT_EQ(slot_, 32);
  EXPECT_EQ(response_, "VZ5HEKMB");
  EXPECT_EQ(create(makeToken("One more", seed16)), std::nullopt);
  EXPECT_EQ(slot_, 32);
  EXPECT_EQ(gateway.records, before);
  EXPECT_TRUE(gateway.changes.empty());
}

TEST_F(TokenCreationTest, SameCreationNameReplacesTheToken) {
  fill(32);
  EXPECT_EQ(create(makeToken("Token5", seed13, 60)), std::nullopt);
  EXPECT_EQ(slot_, 5);
  EXPECT_EQ(gateway.changes, Lines{"save " + slotName(5)});
  std::unique_ptr<SoftTokenInfo> token;
  ASSERT_TRUE(vane::ReadToken(5, &token));
  EXPECT_EQ(token->period, 60);
  EXPECT_EQ(test::seedOf(*token), "JBSWY3DPEHPKEKMB");
}

TEST_F(TokenCreationTest, AnotherNameTakesTheFirstFreeSlot) {
  fill(2);
  EXPECT_EQ(create(makeToken("New", seed16)), std::nullopt);
  EXPECT_EQ(slot_, 2);
}

TEST_F(TokenCreationTest, RefusedSaveStillReturnsNilAndTheSlot) {
  gateway.refuse_save = [](const std::string&) { return true; };
  EXPECT_EQ(create(makeToken("Mail", seed16)), std::nullopt);
  EXPECT_EQ(slot_, 0);
  EXPECT_TRUE(gateway.records.empty());
}

TEST_F(TokenCreationTest, RecordIsNotChanged) {
  const SoftTokenInfo token = makeToken("Mail", "jbswy3dpehpk3", 60);
  EXPECT_EQ(create(token), std::nullopt);
  EXPECT_EQ(test::seedOf(token), "jbswy3dpehpk3");
  EXPECT_EQ(token.ek, 0U);
}

// A period that is not positive stands for the counter 0, as the first half minute of time does.
TEST_F(TokenCreationTest, PeriodThatIsNotPositiveDoesNotCrash) {
  for (const std::int32_t period : {0, -1, INT32_MIN}) {
    EXPECT_EQ(create(makeToken("Mail", seed13, period), true), std::nullopt) << period;
    EXPECT_EQ(response_, "H3NXEKMB") << period;
  }
}

TEST_F(TokenCreationTest, WithoutAGatewayADummyRunStillChecks) {
  vane::SetInterface(nullptr);
  EXPECT_EQ(create(makeToken("Mail", "JBSWY3DPEHPK3P"), true), "Invalid seed length");
  EXPECT_EQ(create(makeToken("Mail", seed16), true), std::nullopt);
  EXPECT_EQ(create(makeToken("Mail", seed13), true), std::nullopt);
  ASSERT_TRUE(response_);
  EXPECT_EQ(response_->size(), 8U);
  EXPECT_TRUE(gateway.lines.empty());
}

TEST_F(TokenCreationTest, EmbeddedNulIsRefused) {
  for (const char* seed : {seed13, seed16}) {
    for (std::size_t at = 0; at < std::string_view(seed).size(); ++at) {
      std::string with_nul = seed;
      with_nul[at] = '\0';
      EXPECT_EQ(create(makeToken("Mail", with_nul)), "Invalid character in seed") << at;
      EXPECT_TRUE(gateway.records.empty()) << at;
    }
  }
}

TEST_F(TokenCreationTest, RandomSeedsAreStoredOrRefusedWithAMessage) {
  std::mt19937 random(29);
  gateway.listening = false;
  for (int round = 0; round < 5000; ++round) {
    std::string seed(random() % 4 == 0 ? random() % 24 : (random() % 2 == 0 ? 13 : 16), '\0');
    const auto kind = random() % 3;
    for (char& character : seed) {
      character = static_cast<char>(kind == 0 ? random() : '0' + random() % ('z' - '0' + 1));
    }
    gateway.records.clear();
    const auto error = create(makeToken("Mail", seed));
    if (error) {
      EXPECT_TRUE(gateway.records.empty());
      EXPECT_TRUE(error == "Invalid seed length" || error == "Invalid character in seed") << *error;
    } else {
      EXPECT_EQ(gateway.records.size(), 1U);
    }
  }
}

}  // namespace
}  // namespace talvane
