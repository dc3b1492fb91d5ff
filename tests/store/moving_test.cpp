// Moving tokens to other slots.

#include <algorithm>
#include <memory>
#include <utility>

#include "platform/folders.h"
#include "platform/gathered_changes.h"
#include "store/store_lock.h"
#include "tests/store/store_test.h"

namespace talvane::test {
namespace {

// Five tokens; two of them were renamed.
class MovingTest : public StoreTest {
 protected:
  MovingTest() { fillFive(); }

  void fillFive() {
    keychain.memory.items.clear();
    fill({"A", "B|Bee", "C", "D|Dee", "E"});
    seen = read();
  }
  auto moving(std::int32_t from, std::int32_t to) {
    return [this, from, to] { return store.move(from, to, seen); };
  }
  static Names afterMove(Names names, std::size_t from, std::size_t to) {
    const std::string moved = names[from];
    names.erase(names.begin() + static_cast<std::ptrdiff_t>(from));
    names.insert(names.begin() + static_cast<std::ptrdiff_t>(to), moved);
    return names;
  }
  static Names once(const Names& names) {
    Names result;
    for (const std::string& name : names) {
      if (std::find(result.begin(), result.end(), name) == result.end()) result.push_back(name);
    }
    return result;
  }

  const Names five{"A", "B|Bee", "C", "D|Dee", "E"};
  StoredTokens seen;
};

TEST_F(MovingTest, FromEverySlotToEverySlot) {
  for (const bool together : {false, true}) {
    keychain.together = together;
    for (std::int32_t from = 0; from < 5; ++from) {
      for (std::int32_t to = 0; to < 5; ++to) {
        fillFive();
        ASSERT_TRUE(store.move(from, to, seen).has_value()) << from << ' ' << to;
        EXPECT_EQ(names(),
                  afterMove(five, static_cast<std::size_t>(from), static_cast<std::size_t>(to)))
            << from << ' ' << to;
        EXPECT_EQ(items().size(), 5U) << from << ' ' << to;
      }
    }
  }
}

TEST_F(MovingTest, TokensKeepTheirSeedsAndPeriods) {
  SoftTokenInfo minute = token("M", other_seed_16);
  minute.period = 60;
  auto slot = 2;
  ASSERT_TRUE(vane::WriteToken(&slot, minute));
  seen = read();
  ASSERT_TRUE(store.move(2, 0, seen).has_value());
  const StoredTokens now = read();
  EXPECT_EQ(now.list[0]->seed32->get(), other_seed_16);
  EXPECT_EQ(now.list[0]->period, 60);
  EXPECT_EQ(now.list[0]->ek, seen.list[2]->ek);
  EXPECT_EQ(now.list[1]->seed32->get(), seedOf(0));
  EXPECT_EQ(now.list[2]->seed32->get(), seedOf(1));
  EXPECT_EQ(now.list[2]->period, 30);
}

TEST_F(MovingTest, ToItsOwnSlotWritesNothing) {
  const Items before = items();
  EXPECT_TRUE(store.move(3, 3, seen).has_value());
  EXPECT_EQ(items(), before);
}

TEST_F(MovingTest, SlotsWithoutATokenThatTheUserSaw) {
  for (const auto& [from, to] : {std::pair(-1, 0), {0, -1}, {0, 5}, {5, 0}, {0, 32}, {32, 0}}) {
    expectRefused(moving(from, to), Next::look_again,
                  "The tokens changed in the meantime and nothing was moved; check them and try "
                  "again");
  }
  vane::DeleteToken(4);
  expectRefused(moving(0, 4), Next::look_again, "in the meantime");
}

TEST_F(MovingTest, AnotherTokenInOneOfTheSlots) {
  auto slot = 2;
  ASSERT_TRUE(vane::WriteToken(&slot, token("C", other_seed_16)));
  for (const auto& [from, to] : {std::pair(2, 0), {0, 2}, {1, 3}, {3, 1}, {4, 2}}) {
    expectRefused(moving(from, to), Next::look_again, "in the meantime");
  }
  ASSERT_TRUE(store.move(0, 1, seen).has_value()) << "the others are as they were";
  EXPECT_EQ(names(), (Names{"B|Bee", "A", "C", "D|Dee", "E"}));
}

TEST_F(MovingTest, NameGivenInTheMeantimeIsKept) {
  auto slot = 0;
  ASSERT_TRUE(vane::WriteToken(&slot, token("A|elsewhere", seedOf(0))));
  ASSERT_TRUE(store.move(0, 1, seen).has_value());
  EXPECT_EQ(names(), (Names{"B|Bee", "A|elsewhere", "C", "D|Dee", "E"}));
}

TEST_F(MovingTest, RecordThatDoesNotLoadAfterTheTokens) {
  makeForeign(3);
  seen = read();
  const Bytes kept = item(3).get();
  expectRefused(moving(0, 2), Next::clear_slot,
                "The token could not be moved. The record in slot 3 does not load and hides the "
                "token after it");
  keychain.together = true;
  ASSERT_TRUE(store.move(0, 2, seen).has_value());
  EXPECT_EQ(names(), (Names{"B|Bee", "C", "A"}));
  EXPECT_EQ(item(3).get(), kept);
}

TEST_F(MovingTest, GapAfterTheTokens) {
  vane::DeleteToken(3);
  seen = read();
  const Bytes hidden = item(4).get();
  ASSERT_TRUE(store.move(0, 2, seen).has_value());
  EXPECT_EQ(names(), (Names{"B|Bee", "C", "A"}));
  EXPECT_EQ(item(4).get(), hidden);
}

TEST_F(MovingTest, FullStore) {
  Names all;
  for (int i = 0; i < 32; ++i) all.push_back("T" + std::to_string(i));
  fill(all);
  seen = read();
  expectRefused(moving(0, 31), Next::make_room,
                "Moving a token needs an empty slot, and all 32 hold tokens; delete one first");
  keychain.together = true;
  ASSERT_TRUE(store.move(0, 31, seen).has_value());
  EXPECT_EQ(names(), afterMove(all, 0, 31));
}

TEST_F(MovingTest, AnotherProgramChangesTheTokens) {
  const StoreLock lock(dataFolder());
  expectRefused(moving(0, 1), Next::try_again, "Another program");
}

TEST_F(MovingTest, ChangeThatCannotBeBegunOrIsNotKept) {
  keychain.undoes = true;
  keychain.end_status = KeychainStatus::disk_full;
  for (const bool together : {false, true}) {
    keychain.together = together;
    expectRefused(moving(0, 1), Next::check_keychain, "words for -34 [-34]");
  }
  keychain.end_status = KeychainStatus::ok;
  keychain.begin_status = KeychainStatus::io_error;
  expectRefused(moving(0, 1), Next::check_keychain, "words for -36 [-36]");
}

TEST_F(MovingTest, KeychainThatFailsAnywhereAndUndoes) {
  keychain.together = true;
  failEachCall(moving(0, 3), [&](const Result<void>& moved, const Items& kept) {
    if (moved) {
      EXPECT_EQ(names(), afterMove(five, 0, 3));
    } else {
      EXPECT_EQ(items(), kept);
    }
  });
}

// From some call on the keychain takes no more, as when the program is killed. It is one that keeps
// the changes in memory until they end, and then stores one item after the other.
TEST_F(MovingTest, InterruptionAnywhereLosesNoTokenAndTheNextChangeClearsUp) {
  for (const auto& [from, to] : {std::pair(0, 3), {3, 0}, {1, 2}, {2, 1}, {4, 0}, {0, 4}}) {
    fillFive();
    const auto before = keychain.memory.items;
    const Names after =
        afterMove(five, static_cast<std::size_t>(from), static_cast<std::size_t>(to));
    // While the others move, the token stands behind them.
    const Names between = afterMove(five, static_cast<std::size_t>(from), 4);
    const auto isSound = [&](const Names& names) {
      return names == five || names == after || names == between;
    };
    std::size_t twice = 0;
    bool ended = false;
    for (std::size_t calls = 0; !ended; ++calls) {
      SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to) + ", call " +
                   std::to_string(calls));
      keychain.memory.items = before;
      auto inner = std::make_unique<FaultyKeychain>();
      FaultyKeychain& stored = *inner;
      stored.memory.items = before;
      GatheredChanges gathered(std::move(inner));
      vaneinterface other(gathered, identifiers);
      other.setConsole(false);
      vane::SetInterface(&other);
      TokenStore other_store(other, gathered);
      stored.calls = 0;
      stored.fault = [calls](FaultyKeychain::Call, std::size_t call) {
        return call >= calls ? KeychainStatus::not_available : KeychainStatus::ok;
      };
      ended = other_store.move(from, to, seen).has_value();
      keychain.memory.items = stored.memory.items;

      const Names left = names();
      EXPECT_EQ(left.size(), items().size()) << "some are hidden";
      EXPECT_LE(left.size(), 6U);
      if (left.size() == 6) ++twice;
      EXPECT_TRUE(isSound(once(left))) << testing::PrintToString(left);
      read();
      ASSERT_TRUE(store.add(token("Next", other_seed_16), SameName::refuse).has_value());
      Names cleared = names();
      EXPECT_EQ(cleared.size(), 6U) << testing::PrintToString(cleared);
      EXPECT_EQ(cleared.back(), "Next");
      cleared.pop_back();
      EXPECT_TRUE(isSound(cleared)) << testing::PrintToString(cleared);
      ASSERT_FALSE(HasFailure());
    }
    EXPECT_EQ(names().size(), 6U);
    EXPECT_GT(twice, 3U);
  }
}

TEST_F(MovingTest, FailureHalfWaySaysSo) {
  std::size_t replaced = 0;
  keychain.fault = [&replaced](FaultyKeychain::Call call, std::size_t) {
    return call == FaultyKeychain::Call::replace && ++replaced > 1 ? KeychainStatus::io_error
                                                                   : KeychainStatus::ok;
  };
  const auto moved = store.move(0, 3, seen);
  ASSERT_FALSE(moved.has_value());
  EXPECT_EQ(moved.error().words,
            "words for -36 [-36]. Some tokens have moved, and one may show twice");
}

TEST_F(MovingTest, TokenThatAnInterruptionLeftTwiceIsMovedOnce) {
  keychain.memory.items.clear();
  fill({"A", "B", "x", "C", "D"});
  item(2) = item(1);
  const auto twice = keychain.memory.items;
  for (const std::int32_t from : {1, 2}) {
    keychain.memory.items = twice;
    seen = read();
    ASSERT_TRUE(store.move(from, 4, seen).has_value());
    EXPECT_EQ(names(), (Names{"A", "C", "D", "B"}));
  }
  keychain.memory.items = twice;
  seen = read();
  ASSERT_TRUE(store.move(4, 2, seen).has_value());
  EXPECT_EQ(names(), (Names{"A", "D", "B", "C"}));
  keychain.memory.items = twice;
  seen = read();
  ASSERT_TRUE(store.move(1, 2, seen).has_value());
  EXPECT_EQ(names(), (Names{"A", "B", "C", "D"}));
}

TEST_F(MovingTest, IdentityThatCannotBeReadForAMomentKeepsTheTokens) {
  failEachQuestion(moving(0, 3), [&](const Result<void>& /*moved*/) {
    const Names left = once(names());
    EXPECT_TRUE(left == five || left == afterMove(five, 0, 3)) << testing::PrintToString(left);
  });
}

}  // namespace
}  // namespace talvane::test
