// Deleting tokens, and what is in the way of others.

#include "platform/folders.h"
#include "store/store_lock.h"
#include "tests/store/store_test.h"

namespace talvane::test {
namespace {

class RemovingTest : public StoreTest {
 protected:
  /// Deletes the slots as they are seen now.
  Result<void> remove(std::initializer_list<std::size_t> slots) {
    return store.remove(selection(slots), read());
  }
  void expectRemoved(std::initializer_list<std::size_t> slots, const Names& left) {
    const auto removed = remove(slots);
    ASSERT_TRUE(removed.has_value()) << removed.error().words;
    EXPECT_EQ(names(), left);
  }
};

TEST_F(RemovingTest, MovesTheLaterTokensDown) {
  fill({"A", "B", "C", "D", "E"});
  expectRemoved({1, 2}, {"A", "D", "E"});
  EXPECT_EQ(items().size(), 3U);
  EXPECT_EQ(read().list[1]->seed32->get(), seedOf(3));
  expectRemoved({0}, {"D", "E"});
  expectRemoved({1}, {"D"});
  expectRemoved({0}, {});
  EXPECT_TRUE(items().empty());
}

TEST_F(RemovingTest, AllOfAFullStore) {
  Names all;
  for (int i = 0; i < 32; ++i) all.push_back("T" + std::to_string(i));
  fill(all);
  TokenStore::Selection every{};
  every.fill(1);
  every[30] = 0;
  ASSERT_TRUE(store.remove(every, read()).has_value());
  EXPECT_EQ(names(), Names{"T30"});
}

TEST_F(RemovingTest, NothingSelected) {
  fill({"A", "B"});
  const Items before = items();
  EXPECT_TRUE(remove({}).has_value());
  EXPECT_EQ(items(), before);
}

TEST_F(RemovingTest, AnotherTokenInTheSlot) {
  fill({"A", "B", "C"});
  const StoredTokens seen = read();
  ASSERT_TRUE(remove({0}).has_value());
  constexpr const char* words =
      "The tokens changed in the meantime and nothing was deleted; check them and try again";
  for (const std::size_t slot : {0U, 1U, 2U, 3U, 31U}) {
    expectRefused([&] { return store.remove(selection({slot}), seen); }, Next::look_again, words);
  }
}

TEST_F(RemovingTest, OtherTokensMayHaveChanged) {
  fill({"A", "B", "C"});
  const StoredTokens seen = read();
  auto slot = 1;
  ASSERT_TRUE(vane::WriteToken(&slot, token("B", other_seed_16)));
  ASSERT_TRUE(store.remove(selection({0}), seen).has_value());
  EXPECT_EQ(names(), (Names{"B", "C"}));
  EXPECT_EQ(read().list[0]->seed32->get(), other_seed_16);
}

TEST_F(RemovingTest, SlotThatNobodySaw) {
  fill({"A", "", "C"});
  expectRefused([&] { return remove({2}); }, Next::look_again, "");
  expectRefused([&] { return remove({0, 3}); }, Next::look_again, "");
}

TEST_F(RemovingTest, ObstacleThatIsAnotherByNow) {
  fill({"A", "B", "C"});
  damage(1);
  const StoredTokens seen = read();
  makeForeign(2);
  keychain.memory.items.erase({"TalvaneSoftToken5021", "ada"});
  expectRefused([&] { return store.remove(selection({1}), seen); }, Next::look_again, "");
  item(1) = item(2);
  expectRefused([&] { return store.remove(selection({1}), seen); }, Next::look_again, "");
}

TEST_F(RemovingTest, ObstacleThatIsGoneByNow) {
  fill({"A", "B"});
  const SecretBytes sound = item(1);
  damage(1);
  const StoredTokens seen = read();
  item(1) = sound;
  expectRefused([&] { return store.remove(selection({1}), seen); }, Next::look_again,
                "The tokens changed in the meantime and nothing was deleted");
}

TEST_F(RemovingTest, GapIsClosed) {
  fill({"A", "", "", "B", "", "C"});
  expectRemoved({1}, {"A", "B"});
  expectRemoved({2}, {"A", "B", "C"});
  EXPECT_FALSE(read().obstacle.has_value());
}

TEST_F(RemovingTest, GapAtTheBeginning) {
  fill({"", "", "A"});
  expectRemoved({0}, {"A"});
}

TEST_F(RemovingTest, TokenBeforeAGap) {
  fill({"A", "B", "", "C"});
  expectRemoved({0}, {"B"});
  expectRemoved({1}, {"B", "C"});
}

TEST_F(RemovingTest, GapAfterTheTokenStays) {
  fill({"A", "B", "", "C"});
  expectRemoved({1}, {"A"});
  EXPECT_EQ(items().size(), 2U);
  expectRemoved({1}, {"A", "C"});
}

TEST_F(RemovingTest, OtherTokenOrNameInThePlaceOfOneThatStays) {
  keychain.undoes = true;
  for (const auto& [name, seed] : {std::pair("D", seedOf(3)), std::pair("A|new", seedOf(0))}) {
    SCOPED_TRACE(name);
    fill({"A", "B", "C"});
    vane::ReadToken(3, nullptr);
    auto slot = 3;
    ASSERT_TRUE(vane::WriteToken(&slot, token(name, seed)));
    const SecretBytes other = item(3);
    keychain.memory.items.erase({"TalvaneSoftToken5023", "ada"});
    bool removed = false;
    keychain.fault = [&](FaultyKeychain::Call call, std::size_t) {
      if (call == FaultyKeychain::Call::remove) removed = true;
      if (removed && call == FaultyKeychain::Call::find) item(0) = other;
      return KeychainStatus::ok;
    };
    expectRefused([&] { return remove({2}); }, Next::try_again,
                  "The keychain gave contradictory answers and nothing was deleted; try again");
    keychain.fault = nullptr;
  }
}

TEST_F(RemovingTest, TokenAndGapTogether) {
  fill({"A", "B", "", "C"});
  expectRemoved({0, 2}, {"B", "C"});
}

TEST_F(RemovingTest, RecordThatDoesNotLoadGoesWithItsSlot) {
  for (const bool foreign : {false, true}) {
    SCOPED_TRACE(foreign);
    keychain.memory.items.clear();
    fill({"A", "B", "C", "D"});
    foreign ? makeForeign(1) : damage(1);
    expectRemoved({1}, {"A", "C", "D"});
    EXPECT_EQ(items().size(), 3U);
  }
}

TEST_F(RemovingTest, RecordThatDoesNotLoadAndATokenBeforeIt) {
  for (const bool foreign : {false, true}) {
    SCOPED_TRACE(foreign);
    keychain.memory.items.clear();
    fill({"A", "B", "C", "D"});
    foreign ? makeForeign(2) : damage(2);
    expectRemoved({0, 2}, {"B", "D"});
  }
}

TEST_F(RemovingTest, TokensBeforeOneThatHidesOthers) {
  for (const bool foreign : {false, true}) {
    SCOPED_TRACE(foreign);
    keychain.memory.items.clear();
    fill({"A", "B", "C", "X", "D"});
    foreign ? makeForeign(3) : damage(3);
    const Bytes in_the_way = item(3).get();
    const Bytes hidden = item(4).get();
    expectRemoved({0, 1}, {"C"});
    EXPECT_EQ(items().size(), 3U);
    EXPECT_EQ(item(3).get(), in_the_way) << "where it was, byte for byte";
    EXPECT_EQ(item(4).get(), hidden);
  }
}

TEST_F(RemovingTest, TokensBeforeALastRecordThatDoesNotLoad) {
  for (const bool foreign : {false, true}) {
    for (const bool both : {false, true}) {
      SCOPED_TRACE(foreign);
      keychain.memory.items.clear();
      fill({"A", "B", "C"});
      foreign ? makeForeign(2) : damage(2);
      const Bytes kept = item(2).get();
      if (both) {
        expectRemoved({0, 1}, {});
      } else {
        expectRemoved({0}, {"B"});
      }
      EXPECT_EQ(item(2).get(), kept) << "where it was, byte for byte";
    }
  }
}

TEST_F(RemovingTest, SeveralThatDoNotLoadGoOneAfterTheOther) {
  for (const bool foreign : {false, true}) {
    SCOPED_TRACE(foreign);
    keychain.memory.items.clear();
    fill({"A", "B", "C", "", "E", "F"});
    foreign ? makeForeign(1) : damage(1);
    foreign ? makeForeign(2) : damage(2);
    foreign ? makeForeign(4) : damage(4);
    const Bytes third = item(4).get();
    for (int i = 0; i < 6 && read().obstacle; ++i) {
      const auto removed = remove({static_cast<std::size_t>(read().obstacle->slot)});
      ASSERT_TRUE(removed.has_value()) << removed.error().words;
      ASSERT_FALSE(names().empty());
      ASSERT_EQ(names()[0], "A");
      if (i == 0) {
        EXPECT_EQ(item(4).get(), third);
      }
    }
    EXPECT_FALSE(read().obstacle.has_value());
    EXPECT_EQ(names(), (Names{"A", "F"}));
  }
}

TEST_F(RemovingTest, GapBeforeATokenBeforeOneThatDoesNotLoad) {
  fill({"A", "", "C", "D", "E"});
  makeForeign(3);
  const Bytes kept = item(3).get();
  expectRemoved({1}, {"A", "C"});
  EXPECT_EQ(item(3).get(), kept);
  expectRemoved({3}, {"A", "C"});
  expectRemoved({2}, {"A", "C", "E"});
}

TEST_F(RemovingTest, AnotherProgramChangesTheTokens) {
  fill({"A"});
  const StoredTokens seen = read();
  const StoreLock lock(dataFolder());
  expectRefused([&] { return store.remove(selection({0}), seen); }, Next::try_again,
                "Another program");
}

TEST_F(RemovingTest, ChangeThatCannotBeBegunOrIsNotKept) {
  fill({"A", "B"});
  keychain.undoes = true;
  keychain.end_status = KeychainStatus::disk_full;
  expectRefused([&] { return remove({0}); }, Next::check_keychain, "words for -34 [-34]");
  keychain.end_status = KeychainStatus::ok;
  keychain.begin_status = KeychainStatus::io_error;
  expectRefused([&] { return remove({0}); }, Next::check_keychain, "words for -36 [-36]");
}

// "Deleted" is said only when nothing became hidden, whatever call of the keychain failed.
TEST_F(RemovingTest, KeychainThatFailsForAWhile) {
  const std::initializer_list<std::size_t> selections[] = {{0}, {1, 3}, {4}};
  for (const auto& slots : selections) {
    keychain.memory.items.clear();
    fill({"A", "B", "C", "D", "E"});
    const auto five = keychain.memory.items;
    const StoredTokens seen = read();
    keychain.calls = 0;
    ASSERT_TRUE(store.remove(selection(slots), seen).has_value());
    const std::size_t calls = keychain.calls;
    const Names left = names();
    for (const auto status : {KeychainStatus::io_error, KeychainStatus::cannot_decode}) {
      for (std::size_t first = 0; first < calls; ++first) {
        for (const std::size_t length : {1U, 1000U}) {
          keychain.undoes = true;
          keychain.memory.items = five;
          vaneinterface fresh(keychain, identifiers);
          fresh.setConsole(false);
          vane::SetInterface(&fresh);
          TokenStore other(fresh, keychain);
          const Items before = items();
          keychain.calls = 0;
          keychain.fault = [=](FaultyKeychain::Call, std::size_t call) {
            return call >= first && call < first + length ? status : KeychainStatus::ok;
          };
          const auto removed = other.remove(selection(slots), seen);
          keychain.fault = nullptr;
          vane::SetInterface(&gateway);
          if (removed) {
            EXPECT_EQ(names(), left) << static_cast<int>(status) << " from " << first;
          } else {
            EXPECT_EQ(items(), before) << static_cast<int>(status) << " from " << first;
          }
        }
      }
    }
  }
}

TEST_F(RemovingTest, IdentityThatCannotBeReadForAMoment) {
  fill({"A", "B", "C"});
  keychain.undoes = true;
  const auto three = keychain.memory.items;
  const StoredTokens seen = read();
  identifiers.questions = 0;
  ASSERT_TRUE(store.remove(selection({0}), seen).has_value());
  const std::size_t questions = identifiers.questions;
  for (std::size_t first = 0; first < questions; ++first) {
    for (const std::size_t length : {1U, 2U, 4U}) {
      keychain.memory.items = three;
      const Items before = items();
      vane::SetInterface(&gateway);
      identifiers.questions = 0;
      identifiers.first_fault = first;
      identifiers.end_of_faults = first + length;
      const auto removed = store.remove(selection({0}), seen);
      identifiers.end_of_faults = 0;
      if (removed) {
        EXPECT_EQ(names(), (Names{"B", "C"})) << first;
      } else {
        EXPECT_EQ(items(), before) << first;
      }
    }
  }
}

TEST_F(RemovingTest, TokenThatAnInterruptionLeftTwice) {
  const auto fillTwice = [&] {
    keychain.memory.items.clear();
    fill({"B", "x", "C", "D"});
    item(1) = item(0);
  };
  fillTwice();
  expectRemoved({2}, {"B", "D"});
  fillTwice();
  expectRemoved({0}, {"B", "C", "D"});
  fillTwice();
  expectRemoved({1, 3}, {"B", "C"});
}

TEST_F(RemovingTest, IdentityThatCannotBeRead) {
  fill({"A", "B"});
  const StoredTokens seen = read();
  identifiers.sound.trouble = "user 7 has no login name in the user database";
  expectRefused([&] { return store.remove(selection({0}), seen); }, Next::check_keychain,
                "This computer's identity cannot be read: user 7");
}
}  // namespace
}  // namespace talvane::test
