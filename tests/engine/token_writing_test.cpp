// Writing to the store.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <string>

#include "engine/text.h"
#include "engine/vane.h"
#include "tests/engine/engine_test.h"

namespace talvane {
namespace {

using test::Lines;
using test::makeToken;
using test::slotName;
namespace lines = test::lines;

constexpr const char* seed = "JBSWY3DPEHPK3PXP";
constexpr const char* sealed16 = "ab414100edebce0889845b81684a8122fce28ca61f7b04ff";
constexpr const char* sealed13 = "2f4a6384a4c1c4086d2938ca4981e794aa0a7f72e5";

class TokenWritingTest : public test::EngineTest {
 protected:
  void fill(std::int32_t count) {
    for (std::int32_t slot = 0; slot < count; ++slot) {
      store(slot, makeToken("Token" + std::to_string(slot), seed));
    }
    gateway.lines.clear();
    gateway.changes.clear();
  }

  [[nodiscard]] std::string sealedIn(std::int32_t slot) const {
    return test::toHex(std::get<Bytes>(gateway.records.at(slotName(slot)).at("seed32")));
  }

  [[nodiscard]] std::string nameIn(std::int32_t slot) const {
    return std::get<std::string>(gateway.records.at(slotName(slot)).at("desc"));
  }
};

TEST_F(TokenWritingTest, EveryRowOfTheSealingTableWrites) {
  const auto identities = test::identitiesByKey();
  for (const auto& row : test::readVectors("sealed_seed.tsv", 3, 82)) {
    setIdentity(identities.at(row[0]));
    store(0, makeToken("Mail", row[1]));
    EXPECT_EQ(sealedIn(0), row[2]) << row;
  }
}

TEST_F(TokenWritingTest, RecordHoldsTheFourKeys) {
  store(9, makeToken("Mail|Work mail", seed, 60));
  const Record expected{{"desc", std::string("Mail|Work mail")},
                        {"seed32", Bytes(test::fromHex(sealed16))},
                        {"ek", std::int64_t{12345}},
                        {"period", std::int64_t{60}}};
  ASSERT_EQ(gateway.records.size(), 1U);
  EXPECT_EQ(gateway.records.at("TalvaneSoftToken5029"), expected);
}

TEST_F(TokenWritingTest, EkOfTheRecordIsKept) {
  SoftTokenInfo token = makeToken("Mail", seed);
  token.ek = 4294967295U;
  store(0, token);
  EXPECT_EQ(gateway.records.at(slotName(0)).at("ek"), RecordValue(std::int64_t{4294967295}));
  EXPECT_EQ(test::countOf(gateway.lines, "  vane::WriteToken:   ek:4294967295"), 1U);
  // Sealed under the present key all the same.
  EXPECT_EQ(sealedIn(0), sealed16);
}

TEST_F(TokenWritingTest, LinesOfAWriteToAGivenSlot) {
  store(3, makeToken("Mail|Work mail", seed));
  Lines expected{"  vane::WriteToken: begin: index:3  desc:Mail | Work mail"};
  expected += lines::write16(3);
  EXPECT_EQ(test::withoutZeroLines(gateway.lines), expected);
}

TEST_F(TokenWritingTest, LinesOfAThirteenCharacterSeed) {
  store(31, makeToken("Mail", "JBSWY3DPEHPK3"));
  Lines expected{"  vane::WriteToken: begin: index:31  desc:Mail | Mail"};
  expected += lines::write13(31);
  EXPECT_EQ(gateway.lines, expected);
  EXPECT_EQ(sealedIn(31), sealed13);
}

TEST_F(TokenWritingTest, EachZeroByteOfTheSealedSeedHasALine) {
  store(0, makeToken("Mail", "EWSIODYHI4EN4ERA"));
  EXPECT_EQ(sealedIn(0), "e26aef0085e8a468e169798b0063ca6a99fb93aa1a1f75ed");
  EXPECT_EQ(test::linesWith(gateway.lines, "0 "), (Lines{"0 3", "0 12"}));
  const auto at = [this](std::string_view prefix) {
    return std::find_if(gateway.lines.begin(), gateway.lines.end(),
                        [prefix](const std::string& line) { return line.starts_with(prefix); });
  };
  EXPECT_LT(at("  vane::WriteToken: AS2: "), at("0 3"));
  EXPECT_LT(at("0 12"), at("  vane::WriteToken:   ek:12345"));
  EXPECT_EQ(*at("  vane::WriteToken: AS3: "), "  vane::WriteToken: AS3: \u00e2j\u00ef");
}

TEST_F(TokenWritingTest, SeedWithoutAHashIsRefused) {
  std::int32_t slot = 2;
  EXPECT_FALSE(vane::WriteToken(&slot, makeToken("Mail", "YZG7ELOPFFFXER5O")));
  EXPECT_TRUE(gateway.records.empty());
  EXPECT_EQ(gateway.saves, 0U);
  EXPECT_EQ(
      gateway.lines,
      (Lines{"  vane::WriteToken: begin: index:2  desc:Mail | Mail",
             "  vane::WriteToken: key: TalvaneSoftToken5022",
             "  vane::GenerateSeedHash: begin: seed=YZG7ELOPFFFXER5O c1=34608 c2=43875",
             "  vane: gp: begin: \"YZG7ELOPFFFXER5O\" 34608", "  vane::GenerateSeedHash: error 1i",
             "  vane::WriteToken:   GenerateSeedHash failed"}));
}

TEST_F(TokenWritingTest, TokenWithoutSeedOrNameIsRefused) {
  std::int32_t slot = 2;
  EXPECT_FALSE(vane::WriteToken(&slot, SoftTokenInfo()));
  EXPECT_TRUE(gateway.records.empty());
  EXPECT_EQ(gateway.lines, (Lines{"  vane::WriteToken: begin: index:2  desc:(null) | (null)",
                                  "  vane::WriteToken: key: TalvaneSoftToken5022",
                                  "  vane::GenerateSeedHash: begin: seed=(null) c1=34608 c2=43875",
                                  "  vane::GenerateSeedHash: length failed",
                                  "  vane::WriteToken:   GenerateSeedHash failed"}));
}

TEST_F(TokenWritingTest, SeedsThatAreNotBase32AreRefused) {
  for (const char* bad : {"", "JBSWY3DPEHPK", "JBSWY3DPEHPK3P", "JBSWY3DPEHPK3PX!", "JBSWY3DPEHPKÉ",
                          "JBSWY3DPEHPK3PXÉ", "JBSWY3DPEHPK😀"}) {
    std::int32_t slot = 0;
    EXPECT_FALSE(vane::WriteToken(&slot, makeToken("Mail", bad))) << bad;
  }
  EXPECT_EQ(gateway.saves, 0U);
}

TEST_F(TokenWritingTest, RefusedSaveStillCountsAsWritten) {
  gateway.refuse_save = [](const std::string&) { return true; };
  std::int32_t slot = vane::first_free_slot;
  EXPECT_TRUE(vane::WriteToken(&slot, makeToken("Mail", seed)));
  EXPECT_EQ(slot, 0);
  EXPECT_EQ(gateway.saves, 1U);
  EXPECT_TRUE(gateway.records.empty());
  EXPECT_EQ(gateway.lines.back(), "  vane::WriteToken:     ok");
}

TEST_F(TokenWritingTest, GivenSlotIsOverwritten) {
  fill(2);
  store(1, makeToken("New", "JBSWY3DPEHPK3"));
  EXPECT_EQ(nameIn(1), "New");
  EXPECT_EQ(names(), (Lines{"Token0", "New"}));
}

TEST_F(TokenWritingTest, OtherSlotValuesAreUsedUnchanged) {
  for (const std::int32_t slot : {32, 40, -3, std::numeric_limits<std::int32_t>::max(),
                                  std::numeric_limits<std::int32_t>::min()}) {
    store(slot, makeToken("Mail", seed));
    EXPECT_TRUE(gateway.records.contains(slotName(slot))) << slot;
  }
  std::unique_ptr<SoftTokenInfo> token;
  EXPECT_TRUE(vane::ReadToken(40, &token));
}

TEST_F(TokenWritingTest, FirstFreeSlotOfAnEmptyStore) {
  std::int32_t slot = -1;
  EXPECT_TRUE(vane::WriteToken(&slot, makeToken("Mail", seed)));
  EXPECT_EQ(slot, 0);
  Lines expected{"  vane::WriteToken: begin: index:-1  desc:Mail | Mail"};
  expected += lines::readNothing(0);
  expected += Lines{"  vaneWriteToken: index: 0"};
  expected += lines::write16(0);
  EXPECT_EQ(test::withoutZeroLines(gateway.lines), expected);
}

TEST_F(TokenWritingTest, FirstFreeSlotBehindTheTokens) {
  fill(2);
  std::int32_t slot = -1;
  EXPECT_TRUE(vane::WriteToken(&slot, makeToken("Mail", seed)));
  EXPECT_EQ(slot, 2);
  Lines expected{"  vane::WriteToken: begin: index:-1  desc:Mail | Mail"};
  expected += lines::read16(0);
  expected += lines::read16(1);
  expected += lines::readNothing(2);
  expected += Lines{"  vaneWriteToken: index: 2"};
  expected += lines::write16(2);
  EXPECT_EQ(test::withoutZeroLines(gateway.lines), expected);
}

TEST_F(TokenWritingTest, FirstFreeSlotIsTheFirstThatCannotBeRead) {
  fill(4);
  gateway.records.erase(slotName(2));
  std::int32_t slot = -1;
  EXPECT_TRUE(vane::WriteToken(&slot, makeToken("Gap", seed)));
  EXPECT_EQ(slot, 2);
  gateway.records.at(slotName(1)).at("seed32") = Bytes(24, 0);
  slot = -1;
  EXPECT_TRUE(vane::WriteToken(&slot, makeToken("Damaged", seed)));
  EXPECT_EQ(slot, 1);
  EXPECT_EQ(names(), (Lines{"Token0", "Damaged", "Gap", "Token3"}));
}

TEST_F(TokenWritingTest, LastSlotIsUsed) {
  fill(31);
  std::int32_t slot = -1;
  EXPECT_TRUE(vane::WriteToken(&slot, makeToken("Last", seed)));
  EXPECT_EQ(slot, 31);
}

TEST_F(TokenWritingTest, FullStoreTakesNoToken) {
  fill(32);
  const auto before = gateway.records;
  for (const std::int32_t wanted : {-1, -2}) {
    std::int32_t slot = wanted;
    EXPECT_FALSE(vane::WriteToken(&slot, makeToken("One more", seed))) << wanted;
    EXPECT_EQ(slot, 32) << wanted;
  }
  EXPECT_EQ(gateway.records, before);
  EXPECT_TRUE(gateway.changes.empty());
}

TEST_F(TokenWritingTest, SlotOfTheSameCreationNameIsOverwritten) {
  fill(3);
  store(1, makeToken("Mail|Renamed by the user", seed));
  std::int32_t slot = -2;
  EXPECT_TRUE(vane::WriteToken(&slot, makeToken("Mail|Name of the server", "JBSWY3DPEHPK3", 60)));
  EXPECT_EQ(slot, 1);
  EXPECT_EQ(nameIn(1), "Mail|Name of the server");
  EXPECT_EQ(sealedIn(1), sealed13);
  EXPECT_EQ(gateway.records.size(), 3U);
}

TEST_F(TokenWritingTest, SameCurrentNameIsNotTheSameToken) {
  fill(1);
  store(0, makeToken("Mail|Work", seed));
  std::int32_t slot = -2;
  EXPECT_TRUE(vane::WriteToken(&slot, makeToken("Work", seed)));
  EXPECT_EQ(slot, 1);
}

TEST_F(TokenWritingTest, CreationNamesAreComparedExactly) {
  store(0, makeToken("Mail", seed));
  for (const char* other : {"mail", "Mail ", "Mai", "", "Maıl"}) {
    std::int32_t slot = -2;
    EXPECT_TRUE(vane::WriteToken(&slot, makeToken(other, seed)));
    EXPECT_NE(slot, 0) << other;
  }
}

TEST_F(TokenWritingTest, LinesOfAMatchByName) {
  store(0, makeToken("First", seed));
  store(1, makeToken("Mail", "JBSWY3DPEHPK3"));
  gateway.lines.clear();
  std::int32_t slot = -2;
  EXPECT_TRUE(vane::WriteToken(&slot, makeToken("Mail", seed)));
  Lines expected{"  vane::WriteToken: begin: index:-2  desc:Mail | Mail",
                 "  vane::WriteToken: [-2] reading index: 0"};
  expected += lines::read16(0);
  expected += Lines{"  vane::WriteToken: [-2] comparing with First: ",
                    "  vane::WriteToken: [-2] reading index: 1"};
  expected += lines::read13(1);
  expected += Lines{"  vane::WriteToken: [-2] comparing with Mail: ",
                    "  vane::WriteToken: [-2] original desc match at index:1"};
  expected += lines::write16(1);
  EXPECT_EQ(test::withoutZeroLines(gateway.lines), expected);
}

TEST_F(TokenWritingTest, LinesOfNoMatchByName) {
  store(0, makeToken("First", seed));
  gateway.lines.clear();
  std::int32_t slot = -2;
  EXPECT_TRUE(vane::WriteToken(&slot, makeToken("Mail", seed)));
  EXPECT_EQ(slot, 1);
  Lines expected{"  vane::WriteToken: begin: index:-2  desc:Mail | Mail",
                 "  vane::WriteToken: [-2] reading index: 0"};
  expected += lines::read16(0);
  expected += Lines{"  vane::WriteToken: [-2] comparing with First: ",
                    "  vane::WriteToken: [-2] reading index: 1"};
  expected += lines::readNothing(1);
  expected += Lines{"  vane::WriteToken: [-2] matching desc not found"};
  expected += lines::read16(0);
  expected += lines::readNothing(1);
  expected += Lines{"  vaneWriteToken: index: 1"};
  expected += lines::write16(1);
  EXPECT_EQ(test::withoutZeroLines(gateway.lines), expected);
}

TEST_F(TokenWritingTest, LinesOfNoMatchInAFullStore) {
  fill(32);
  std::int32_t slot = -2;
  EXPECT_FALSE(vane::WriteToken(&slot, makeToken("One more", seed)));
  const Lines own = test::linesWith(gateway.lines, "  vane::WriteToken: ");
  ASSERT_EQ(own.size(), 1 + 2 * 32 + 1U);
  EXPECT_EQ(own[0], "  vane::WriteToken: begin: index:-2  desc:One more | One more");
  EXPECT_EQ(own[63], "  vane::WriteToken: [-2] reading index: 31");
  EXPECT_EQ(own[64], "  vane::WriteToken: [-2] comparing with Token31: ");
  EXPECT_EQ(own[65], "  vane::WriteToken: [-2] matching desc not found");
}

TEST_F(TokenWritingTest, MatchBehindAnUnreadableSlotIsNotFound) {
  fill(4);
  gateway.records.erase(slotName(1));
  std::int32_t slot = -2;
  EXPECT_TRUE(vane::WriteToken(&slot, makeToken("Token3", seed)));
  EXPECT_EQ(slot, 1);
  EXPECT_EQ(names(), (Lines{"Token0", "Token3", "Token2", "Token3"}));
}

TEST_F(TokenWritingTest, SlotsAreFoundThroughOneLookAtTheKeychain) {
  gateway.reads_in_one_look = true;
  for (std::int32_t number = 0; number < 4; ++number) {
    std::int32_t slot = number % 2 == 0 ? -1 : -2;
    EXPECT_TRUE(vane::WriteToken(&slot, makeToken("Token" + std::to_string(number), seed)));
    EXPECT_EQ(slot, number);
  }
}

TEST_F(TokenWritingTest, ReadAndWrittenBackIsTheFullSeedWithTheSamePasscodes) {
  store(0, makeToken("Mail", "JBSWY3DPEHPK3"));
  EXPECT_EQ(sealedIn(0).size(), 2 * 21U);
  std::unique_ptr<SoftTokenInfo> token;
  ASSERT_TRUE(vane::ReadToken(0, &token));
  const auto passcode = vane::GeneratePasscode(test::seedOf(*token), 56666666);
  EXPECT_EQ(passcode, "714663");
  token->updateDescription("Renamed");
  store(0, *token);
  EXPECT_EQ(sealedIn(0).size(), 2 * 24U);
  ASSERT_TRUE(vane::ReadToken(0, &token));
  EXPECT_EQ(token->description, "Mail|Renamed");
  EXPECT_EQ(vane::GeneratePasscode(test::seedOf(*token), 56666666), passcode);
}

TEST_F(TokenWritingTest, LowerCaseSeedsAreStoredAsTheyAre) {
  store(0, makeToken("Mail", "jbswy3dpehpk3pxp"));
  std::unique_ptr<SoftTokenInfo> token;
  ASSERT_TRUE(vane::ReadToken(0, &token));
  EXPECT_EQ(test::seedOf(*token), "jbswy3dpehpk3pxp");
}

TEST_F(TokenWritingTest, EmbeddedNulIsRefused) {
  for (const std::size_t length : {13U, 16U}) {
    for (std::size_t at = 0; at < length; ++at) {
      std::string with_nul = std::string(seed).substr(0, length);
      with_nul[at] = '\0';
      std::int32_t slot = 0;
      EXPECT_FALSE(vane::WriteToken(&slot, makeToken("Mail", with_nul))) << length << " " << at;
      EXPECT_TRUE(gateway.records.empty()) << length << " " << at;
    }
  }
}

// Thirteen and sixteen characters, but more bytes.
TEST_F(TokenWritingTest, CharactersOfSeveralBytesBehindANulAreRefused) {
  for (const std::size_t length : {13U, 16U}) {
    for (const std::size_t nul : {0U, 8U}) {
      std::string hostile = std::string(seed).substr(0, nul) + '\0';
      while (utf16Length(hostile) < length) hostile += "名";
      std::int32_t slot = 0;
      EXPECT_FALSE(vane::WriteToken(&slot, makeToken("Mail", hostile))) << length << " " << nul;
      EXPECT_TRUE(gateway.records.empty());
    }
  }
}

TEST_F(TokenWritingTest, AnySeedComesBackUnderAnyIdentity) {
  constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";
  std::mt19937 random(66);
  for (int round = 0; round < 300; ++round) {
    setIdentity(static_cast<std::uint32_t>(random() & 0x7FFFFFFFU));
    std::string any;
    for (std::size_t i = random() % 2 == 0 ? 13 : 16; i > 0; --i) {
      any += alphabet[random() % alphabet.size()];
    }
    store(0, makeToken("Mail", any));
    std::unique_ptr<SoftTokenInfo> token;
    ASSERT_TRUE(vane::ReadToken(0, &token)) << any;
    EXPECT_EQ(test::seedOf(*token).substr(0, 12), any.substr(0, 12));
    if (any.size() == 16) {
      EXPECT_EQ(test::seedOf(*token), any);
    }
  }
}

TEST_F(TokenWritingTest, WithoutAGatewayNothingIsStored) {
  vane::SetInterface(nullptr);
  std::int32_t slot = -1;
  vane::WriteToken(&slot, makeToken("Mail", seed));
  EXPECT_EQ(slot, 0);
  EXPECT_TRUE(gateway.records.empty());
}

}  // namespace
}  // namespace talvane
