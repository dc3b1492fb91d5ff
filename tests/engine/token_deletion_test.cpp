// Deleting from the store.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <memory>
#include <random>
#include <string>

#include "engine/vane.h"
#include "tests/engine/engine_test.h"

namespace talvane {
namespace {

using test::Lines;
using test::makeToken;
using test::slotName;

constexpr const char* seed = "JBSWY3DPEHPK3PXP";

class TokenDeletionTest : public test::EngineTest {
 protected:
  void fill(std::int32_t count) {
    for (std::int32_t slot = 0; slot < count; ++slot) {
      store(slot, makeToken("Token" + std::to_string(slot), seed));
    }
    gateway.lines.clear();
    gateway.changes.clear();
  }

  static void deleteSelected(std::initializer_list<std::size_t> positions, std::uint8_t flag = 1) {
    std::array<std::uint8_t, 32> selected{};
    for (const std::size_t position : positions) selected.at(position) = flag;
    vane::DeleteTokens(selected);
  }

  static std::string loopLine(int i, int ti) {
    return "  vane::DeleteTokens: start of loop i:" + std::to_string(i) +
           " ti:" + std::to_string(ti) + "\n ==================";
  }
};

TEST_F(TokenDeletionTest, OneSlot) {
  fill(3);
  vane::DeleteToken(1);
  EXPECT_EQ(gateway.changes, Lines{"delete TalvaneSoftToken5021"});
  EXPECT_EQ(gateway.lines, (Lines{"  vane::DeleteToken: index: 1",
                                  "  vane::DeleteToken: key: TalvaneSoftToken5021"}));
  EXPECT_EQ(names(), (Lines{"Token0", "", "Token2"}));
}

TEST_F(TokenDeletionTest, NothingIsShiftedInTrouble) {
  fill(3);
  gateway.in_trouble = true;
  deleteSelected({0});
  EXPECT_EQ(gateway.changes, Lines{"delete TalvaneSoftToken5020"});
}

TEST_F(TokenDeletionTest, LastSlot) {
  vane::DeleteToken(31);
  EXPECT_EQ(gateway.changes, Lines{"delete TalvaneSoftToken50231"});
}

TEST_F(TokenDeletionTest, SlotBeyondTheStoreIsABadIndex) {
  gateway.records[slotName(32)] = Record{};
  gateway.records[slotName(-1)] = Record{};
  vane::DeleteToken(32);
  EXPECT_EQ(gateway.lines,
            (Lines{"  vane::DeleteToken: index: 32", "  vane::DeleteToken: bad index"}));
  gateway.lines.clear();
  vane::DeleteToken(std::numeric_limits<std::uint32_t>::max());
  ASSERT_EQ(gateway.lines.size(), 2U);
  EXPECT_EQ(gateway.lines[1], "  vane::DeleteToken: bad index");
  EXPECT_EQ(gateway.deletes, 0U);
}

TEST_F(TokenDeletionTest, TwoOfFiveMoveTheLaterOnesDown) {
  fill(5);
  deleteSelected({1, 2});
  EXPECT_EQ(names(), (Lines{"Token0", "Token3", "Token4"}));
  EXPECT_FALSE(gateway.records.contains(slotName(3)));
  EXPECT_FALSE(gateway.records.contains(slotName(4)));
  EXPECT_EQ(gateway.records.size(), 3U);
}

TEST_F(TokenDeletionTest, NothingSelectedChangesNothing) {
  fill(4);
  deleteSelected({});
  EXPECT_TRUE(gateway.changes.empty());
  Lines expected;
  for (int i = 0; i < 32; ++i) expected.push_back(loopLine(i, i));
  EXPECT_EQ(gateway.lines, expected);
}

TEST_F(TokenDeletionTest, EveryFlagThatIsNotZeroSelects) {
  fill(3);
  deleteSelected({0}, 0xFF);
  EXPECT_EQ(names(), (Lines{"Token1", "Token2"}));
  deleteSelected({1}, 2);
  EXPECT_EQ(names(), Lines{"Token1"});
}

TEST_F(TokenDeletionTest, WholeStore) {
  fill(32);
  std::array<std::uint8_t, 32> selected{};
  selected.fill(1);
  vane::DeleteTokens(selected);
  EXPECT_TRUE(gateway.records.empty());
}

TEST_F(TokenDeletionTest, FirstOfAFullStore) {
  fill(32);
  deleteSelected({0});
  const Lines left = names();
  ASSERT_EQ(left.size(), 31U);
  EXPECT_EQ(left.front(), "Token1");
  EXPECT_EQ(left.back(), "Token31");
}

TEST_F(TokenDeletionTest, LastOfAFullStore) {
  fill(32);
  deleteSelected({31});
  EXPECT_EQ(gateway.changes, Lines{"delete TalvaneSoftToken50231"});
}

TEST_F(TokenDeletionTest, SelectionBehindTheTokensChangesNothing) {
  fill(2);
  deleteSelected({5, 31});
  EXPECT_EQ(names(), (Lines{"Token0", "Token1"}));
}

TEST_F(TokenDeletionTest, EachTokenIsWrittenBeforeItsOldSlotIsDeleted) {
  fill(3);
  deleteSelected({0});
  EXPECT_EQ(gateway.changes,
            (Lines{"delete " + slotName(0), "save " + slotName(0), "delete " + slotName(1),
                   "save " + slotName(1), "delete " + slotName(2)}));
}

TEST_F(TokenDeletionTest, OwnLinesOfADeletion) {
  fill(3);
  deleteSelected({1});
  const std::array<std::string, 3> prefixes{"  vane::DeleteToken", " vane::DeleteTokens",
                                            "question: "};
  Lines own;
  for (const std::string& line : gateway.lines) {
    for (const std::string& prefix : prefixes) {
      if (line.starts_with(prefix)) own.push_back(line);
    }
  }
  Lines expected{loopLine(0, 0),
                 loopLine(1, 1),
                 " vane::DeleteTokens: i:1 is selected",
                 "  vane::DeleteToken: index: 1",
                 "  vane::DeleteToken: key: TalvaneSoftToken5021",
                 " vane::DeleteTokens: shifting subsequent tokens down...",
                 "  vane::DeleteToken: index: 2",
                 "  vane::DeleteToken: key: TalvaneSoftToken5022",
                 "question: trash: shifting done"};
  for (int i = 2; i < 32; ++i) expected.push_back(loopLine(i, i - 1));
  EXPECT_EQ(own, expected);
}

TEST_F(TokenDeletionTest, AllLinesOfADeletion) {
  fill(2);
  deleteSelected({0});
  Lines expected{loopLine(0, 0), " vane::DeleteTokens: i:0 is selected",
                 "  vane::DeleteToken: index: 0", "  vane::DeleteToken: key: TalvaneSoftToken5020",
                 " vane::DeleteTokens: shifting subsequent tokens down..."};
  expected += test::lines::read16(1);
  expected += Lines{"  vane::WriteToken: begin: index:0  desc:Token1 | Token1"};
  expected += test::lines::write16(0);
  expected +=
      Lines{"  vane::DeleteToken: index: 1", "  vane::DeleteToken: key: TalvaneSoftToken5021"};
  for (int slot = 2; slot < 32; ++slot) expected += test::lines::readNothing(slot);
  expected += Lines{"question: trash: shifting done"};
  for (int i = 1; i < 32; ++i) expected.push_back(loopLine(i, i - 1));
  EXPECT_EQ(test::withoutZeroLines(gateway.lines), expected);
}

TEST_F(TokenDeletionTest, EkAndPeriodMoveAlong) {
  fill(1);
  SoftTokenInfo token = makeToken("Moved|Name", "JBSWY3DPEHPK3", 60);
  token.ek = 77;
  store(1, token);
  deleteSelected({0});
  std::unique_ptr<SoftTokenInfo> moved;
  ASSERT_TRUE(vane::ReadToken(0, &moved));
  EXPECT_EQ(moved->description, "Moved|Name");
  EXPECT_EQ(moved->period, 60);
  EXPECT_EQ(moved->ek, 77U);
  EXPECT_EQ(test::seedOf(*moved), "JBSWY3DPEHPKEKMB");
}

// An unreadable record is passed over, and the ones behind it move down by one.
TEST_F(TokenDeletionTest, TokensBehindAnUnreadableSlotMoveToo) {
  fill(4);
  gateway.records.at(slotName(1)).at("seed32") = Bytes(24, 0);
  deleteSelected({0});
  EXPECT_EQ(names(), (Lines{"", "Token2", "Token3"}));
}

TEST_F(TokenDeletionTest, RefusedSaveDeletesNothingMore) {
  fill(4);
  gateway.refuse_save = [](const std::string&) { return true; };
  deleteSelected({0});
  EXPECT_EQ(gateway.changes.at(0), "delete " + slotName(0));
  EXPECT_EQ(gateway.changes.at(1), "refused " + slotName(0));
  EXPECT_EQ(gateway.deletes, 1U);
  EXPECT_EQ(names(), (Lines{"", "Token1", "Token2", "Token3"}));
}

TEST_F(TokenDeletionTest, ASaveRefusedOnceLosesNoToken) {
  fill(4);
  bool refused = false;
  gateway.refuse_save = [&refused](const std::string& name) {
    if (refused || name != slotName(1)) return false;
    refused = true;
    return true;
  };
  deleteSelected({0});
  const Lines left = names();
  for (const char* name : {"Token1", "Token2", "Token3"}) {
    EXPECT_EQ(test::countOf(left, name), 1U) << name;
  }
}

// The shift of position 1 fails halfway, so position 3 is not where it should be.
TEST_F(TokenDeletionTest, ARefusedSaveEndsTheWholeSelection) {
  fill(6);
  gateway.refuse_save = [](const std::string& name) { return name == slotName(2); };
  deleteSelected({1, 3});
  const Lines left = names();
  for (const char* name : {"Token0", "Token2", "Token4", "Token5"}) {
    EXPECT_EQ(test::countOf(left, name), 1U) << name;
  }
  const auto refused =
      std::find(gateway.changes.begin(), gateway.changes.end(), "refused " + slotName(2));
  ASSERT_NE(refused, gateway.changes.end());
  EXPECT_TRUE(std::none_of(refused, gateway.changes.end(), [](const std::string& change) {
    return change.starts_with("delete ");
  }));
}

TEST_F(TokenDeletionTest, GatewayThatLooksOnceAtTheKeychainSeesTheSame) {
  gateway.reads_in_one_look = true;
  fill(8);
  deleteSelected({0, 3, 4, 7});
  EXPECT_EQ(names(), (Lines{"Token1", "Token2", "Token5", "Token6"}));
  EXPECT_EQ(gateway.records.size(), 4U);
}

TEST_F(TokenDeletionTest, AnySelectionOfAnyStore) {
  std::mt19937 random(8);
  gateway.listening = false;
  for (int round = 0; round < 60; ++round) {
    gateway.reads_in_one_look = round % 2 == 0;
    gateway.records.clear();
    const std::size_t count = random() % 33;
    fill(static_cast<std::int32_t>(count));
    std::array<std::uint8_t, 32> selected{};
    Lines expected;
    for (std::size_t position = 0; position < 32; ++position) {
      selected.at(position) = static_cast<std::uint8_t>(random() % 2);
      if (position < count && selected.at(position) == 0) {
        expected.push_back("Token" + std::to_string(position));
      }
    }
    vane::DeleteTokens(selected);
    EXPECT_EQ(names(), expected);
    EXPECT_EQ(gateway.records.size(), expected.size());
  }
}

TEST_F(TokenDeletionTest, WithoutAGatewayNothingHappens) {
  fill(2);
  vane::SetInterface(nullptr);
  vane::DeleteToken(0);
  deleteSelected({0, 1});
  EXPECT_EQ(gateway.records.size(), 2U);
}

}  // namespace
}  // namespace talvane
