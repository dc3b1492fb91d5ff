// Planning and adding tokens.

#include <chrono>
#include <functional>
#include <new>
#include <tuple>
#include <utility>

#include "platform/folders.h"
#include "store/store_lock.h"
#include "tests/store/store_test.h"

namespace talvane::test {
namespace {

class AddingTest : public StoreTest {
 protected:
  auto adding(const SoftTokenInfo& wanted, SameName same_name = SameName::replace) {
    return [this, wanted, same_name] { return store.add(wanted, same_name); };
  }
  /// All ways to add the token are refused so.
  void expectNotAdded(const SoftTokenInfo& wanted, Next next, std::string_view words,
                      std::int32_t slot = -1) {
    expectRefused(adding(wanted, SameName::replace), next, words);
    expectRefused(adding(wanted, SameName::refuse), next, words);
    expectRefused([&] { return store.addIssued(wanted, "", SameName::replace); }, next, words);
    expectRefused([&] { return store.plan(wanted); }, next, words);
    EXPECT_EQ(store.plan(wanted).error().slot.value_or(-1), slot);
  }
};

TEST_F(AddingTest, GoesIntoTheFirstEmptySlot) {
  for (const std::int32_t slot : {0, 1, 2}) {
    const SoftTokenInfo wanted = token("T" + std::to_string(slot));
    ASSERT_EQ(store.plan(wanted)->slot, slot);
    EXPECT_FALSE(store.plan(wanted)->replaces.has_value());
    const auto added = store.add(wanted, SameName::refuse);
    ASSERT_TRUE(added.has_value());
    EXPECT_EQ(added->slot, slot);
    EXPECT_FALSE(added->response.has_value());
  }
  EXPECT_EQ(names(), (Names{"T0", "T1", "T2"}));
  EXPECT_EQ(read().list[1]->seed32->get(), seed_16);
}

TEST_F(AddingTest, PlanningChangesNothing) {
  fill({"A"});
  const Items before = items();
  ASSERT_TRUE(store.plan(token("B")).has_value());
  ASSERT_TRUE(store.plan(token("A", other_seed_16)).has_value());
  ASSERT_TRUE(store.checkRoom().has_value());
  EXPECT_EQ(items(), before);
}

TEST_F(AddingTest, PlanningWritesNoLog) {
  fill({"A"});
  RecordingGateway logging(gateway);
  vane::SetInterface(&logging);
  ASSERT_TRUE(store.plan(token("B", seed_13)).has_value());
  ASSERT_TRUE(store.checkRoom().has_value());
  EXPECT_EQ(logging.lines(), Names{});
}

TEST_F(AddingTest, LogIsThatOfTheEngine) {
  fill({"A", "", "C"});
  RecordingGateway logging(gateway);
  vane::SetInterface(&logging);
  std::int32_t slot = 0;
  std::optional<std::string> response;
  ASSERT_FALSE(vane::NewToken(token("B"), &response, &slot, false).has_value());
  ASSERT_TRUE(vane::ReadToken(1, nullptr));
  Names plain = logging.takeLines();
  plain.pop_back();  // of reading back without a token
  vane::DeleteToken(1);
  logging.takeLines();
  ASSERT_TRUE(store.add(token("B"), SameName::refuse).has_value());
  Names lines = logging.takeLines();
  ASSERT_GE(lines.size(), plain.size());
  lines.resize(plain.size());
  EXPECT_EQ(lines, plain);
}

TEST_F(AddingTest, SameCreationNameAsksFirst) {
  fill({"A", "B|Bee", "C"});
  const SoftTokenInfo wanted = token("B", other_seed_16);
  expectRefused(adding(wanted, SameName::refuse), Next::confirm,
                "Slot 1 already holds the token \"Bee\", which was created as \"B\"");
  EXPECT_EQ(store.add(wanted, SameName::refuse).error().slot, 1);
  EXPECT_EQ(store.plan(wanted)->slot, 1);
  EXPECT_EQ(store.plan(wanted)->replaces, "Bee");
}

TEST_F(AddingTest, SameCreationNameIsReplacedInItsSlot) {
  fill({"A", "B|Bee", "C"});
  const auto added = store.add(token("B", other_seed_16), SameName::replace);
  ASSERT_TRUE(added.has_value());
  EXPECT_EQ(added->slot, 1);
  EXPECT_EQ(names(), (Names{"A", "B", "C"}));
  EXPECT_EQ(read().list[1]->seed32->get(), other_seed_16);
}

TEST_F(AddingTest, PresentNameIsNoReasonToReplace) {
  fill({"A|B"});
  ASSERT_TRUE(store.add(token("B"), SameName::refuse).has_value());
  EXPECT_EQ(names(), (Names{"A|B", "B"}));
}

TEST_F(AddingTest, ThirteenCharactersYieldTheResponseCode) {
  const auto added = store.add(token("A", seed_13), SameName::refuse);
  ASSERT_TRUE(added.has_value());
  ASSERT_TRUE(added->response.has_value());
  EXPECT_EQ(added->response->size(), 8U);
  EXPECT_EQ(read().list[0]->seed32->get().size(), 16U);
  // The second half is the completion of the seed.
  EXPECT_EQ(read().list[0]->seed32->get().substr(12), added->response->substr(4));
}

TEST_F(AddingTest, IssuedTokenHasNoResponseCode) {
  fill({"A"});
  const auto added = store.addIssued(token("B", seed_13), "", SameName::refuse);
  ASSERT_TRUE(added.has_value());
  EXPECT_EQ(added->slot, 1);
  EXPECT_FALSE(added->response.has_value());
  ASSERT_TRUE(store.addIssued(token("A", other_seed_16), "", SameName::replace).has_value());
  EXPECT_EQ(names(), (Names{"A", "B"}));
  EXPECT_EQ(read().list[0]->seed32->get(), other_seed_16);
}

TEST_F(AddingTest, RefusedSeedsAndNames) {
  fill({"A"});
  const std::pair<const char*, const char*> seeds[] = {{"", "Invalid seed length"},
                                                       {"ABCDEFGHIJKLMN", "Invalid seed length"},
                                                       {"ABCDEFGHIJKLMN!P", "Invalid character"}};
  for (const auto& [seed, words] : seeds) {
    for (const auto same_name : {SameName::refuse, SameName::replace}) {
      expectRefused(adding(token("B", seed), same_name), Next::other_input, words);
    }
    expectRefused([&, s = seed] { return store.plan(token("B", s)); }, Next::other_input, words);
  }
  expectRefused([&] { return store.addIssued(token("B", "ABCDEFGHIJKLMN"), "", SameName::refuse); },
                Next::other_input, "Cannot seal this seed on this computer");
  expectNotAdded(token(""), Next::other_input, "The name is empty");
  expectNotAdded(token("a\xE2\x80\xAE"), Next::other_input, "are invisible");
}

TEST_F(AddingTest, AllSlotsTaken) {
  Names all;
  for (int i = 0; i < 32; ++i) all.push_back("T" + std::to_string(i));
  fill(all);
  expectNotAdded(token("more"), Next::make_room, "All 32 slots hold tokens; delete one first");
  EXPECT_EQ(store.checkRoom().error().next, Next::make_room);
  ASSERT_TRUE(store.add(token("T31", other_seed_16), SameName::replace).has_value());
  EXPECT_EQ(names(), all);
}

TEST_F(AddingTest, LastSlot) {
  Names most;
  for (int i = 0; i < 31; ++i) most.push_back("T" + std::to_string(i));
  fill(most);
  EXPECT_TRUE(store.checkRoom().has_value());
  EXPECT_EQ(store.add(token("last"), SameName::refuse)->slot, 31);
}

TEST_F(AddingTest, GapIsFilled) {
  fill({"A", "", "C"});
  ASSERT_TRUE(store.checkRoom().has_value());
  EXPECT_EQ(store.add(token("B"), SameName::refuse)->slot, 1);
  EXPECT_EQ(names(), (Names{"A", "B", "C"}));
}

TEST_F(AddingTest, TokenOfTheSameNameBehindAGapIsNotDoubled) {
  fill({"A", "", "C"});
  expectNotAdded(token("C", other_seed_16), Next::close_gap,
                 "Slot 1 is empty and hides the token after it; close the gap", 1);
}

TEST_F(AddingTest, RecordThatDoesNotLoadIsNotWrittenOver) {
  for (const bool foreign : {false, true}) {
    SCOPED_TRACE(foreign);
    keychain.memory.items.clear();
    fill({"A"});
    foreign ? makeForeign(0) : damage(0);
    // Nothing behind it: a new token would have to take its place or be hidden.
    expectNotAdded(
        token("B"), Next::clear_slot,
        foreign ? "The record in slot 0 does not load: it was stored when the machine ID was of "
                  "another machine; it is 0123456789abcdef now; undo that change"
                : "The record in slot 0 is damaged; restore the keychain from a backup",
        0);
    EXPECT_EQ(store.checkRoom().error().next, Next::clear_slot);
  }
}

TEST_F(AddingTest, NothingIsStoredWhereRecordsLieBehindOneThatDoesNotLoad) {
  for (const bool foreign : {false, true}) {
    SCOPED_TRACE(foreign);
    keychain.memory.items.clear();
    fill({"A", "B", "C", "", "E"});
    foreign ? makeForeign(1) : damage(1);
    const char* words = foreign
                            ? "The record in slot 1 does not load and hides the 2 tokens after it"
                            : "The record in slot 1 is damaged";
    expectNotAdded(token("new"), Next::clear_slot, words, 1);
    expectRefused(adding(token("A", other_seed_16)), Next::clear_slot, words);
    expectNotAdded(token("C", other_seed_16), Next::clear_slot, words, 1);
  }
}

TEST_F(AddingTest, ReplacesBesideALastRecordThatDoesNotLoad) {
  fill({"A", "B"});
  makeForeign(1);
  const Bytes kept = item(1).get();
  ASSERT_TRUE(store.add(token("A", other_seed_16), SameName::replace).has_value());
  EXPECT_EQ(item(1).get(), kept);
  EXPECT_EQ(read().list[0]->seed32->get(), other_seed_16);
}

TEST_F(AddingTest, GapBeforeALastRecordThatDoesNotLoadIsFilled) {
  fill({"A", "", "C"});
  makeForeign(2);
  const Bytes kept = item(2).get();
  const auto added = store.add(token("B"), SameName::refuse);
  ASSERT_TRUE(added.has_value());
  EXPECT_EQ(added->slot, 1);
  EXPECT_EQ(names(), (Names{"A", "B"}));
  EXPECT_EQ(item(2).get(), kept);
}

TEST_F(AddingTest, DeletedSlotTakesTheNextToken) {
  fill({"A"});
  makeForeign(0);
  const StoredTokens seen = read();
  ASSERT_TRUE(store.remove(selection({0}), seen).has_value());
  ASSERT_TRUE(store.add(token("B"), SameName::refuse).has_value());
  EXPECT_EQ(names(), Names{"B"});
}

TEST_F(AddingTest, KeychainThatDoesNotAnswer) {
  fill({"A"});
  keychain.failAll(KeychainStatus::interaction_not_allowed);
  expectNotAdded(token("B"), Next::check_keychain, "words for -25308 [-25308]");
}

TEST_F(AddingTest, ChangeThatCannotBeBegunOrIsNotKept) {
  fill({"A"});
  keychain.undoes = true;
  keychain.end_status = KeychainStatus::disk_full;
  expectRefused(adding(token("B")), Next::check_keychain, "words for -34 [-34]");
  expectRefused([&] { return store.addIssued(token("B"), "", SameName::refuse); },
                Next::check_keychain, "-34");
  keychain.end_status = KeychainStatus::ok;
  keychain.begin_status = KeychainStatus::io_error;
  expectRefused(adding(token("B")), Next::check_keychain, "words for -36 [-36]");
}

TEST_F(AddingTest, SaveThatFails) {
  fill({"A"});
  keychain.fault = [](FaultyKeychain::Call call, std::size_t) {
    return call == FaultyKeychain::Call::add ? KeychainStatus::disk_full : KeychainStatus::ok;
  };
  expectRefused(adding(token("B")), Next::check_keychain, "words for -34 [-34]");
  expectRefused([&] { return store.addIssued(token("B"), "", SameName::refuse); },
                Next::check_keychain, "words for -34 [-34]");
}

TEST_F(AddingTest, KeychainThatContradictsItself) {
  fill({"A"});
  keychain.undoes = true;
  keychain.calls = 0;
  ASSERT_TRUE(store.checkRoom().has_value());
  const std::size_t one_look = keychain.calls;
  const auto one_token = keychain.memory.items;
  constexpr const char* words =
      "The keychain gave contradictory answers and nothing was stored; try again";
  for (const bool issued : {false, true}) {
    const auto add = [&] {
      keychain.calls = 0;
      return issued ? store.addIssued(token("B"), "", SameName::refuse)
                    : store.add(token("B"), SameName::refuse);
    };
    // At the first look the slots are empty.
    keychain.fault = [=](FaultyKeychain::Call, std::size_t call) {
      return call < one_look ? KeychainStatus::item_not_found : KeychainStatus::ok;
    };
    expectRefused(add, Next::try_again, words);
    // At one moment after it one slot is.
    std::size_t refusals = 0;
    for (std::size_t moment = one_look; moment < one_look + 6; ++moment) {
      keychain.fault = [=](FaultyKeychain::Call kind, std::size_t call) {
        return kind == FaultyKeychain::Call::find && call == moment ? KeychainStatus::item_not_found
                                                                    : KeychainStatus::ok;
      };
      const auto added = add();
      EXPECT_EQ(names(), added ? (Names{"A", "B"}) : Names{"A"}) << moment;
      if (!added && added.error().words == words) ++refusals;
      keychain.memory.items = one_token;
    }
    EXPECT_GT(refusals, 0U);
  }
}

TEST_F(AddingTest, TokenThatCannotBeReadBack) {
  fill({"A"});
  keychain.undoes = true;
  for (const auto& [status, next, words] :
       {std::tuple{KeychainStatus::item_not_found, Next::try_again, "contradictory answers"},
        std::tuple{KeychainStatus::io_error, Next::check_keychain, "words for -36 [-36]"}}) {
    bool added = false;
    keychain.fault = [&added, answer = status](FaultyKeychain::Call call, std::size_t) {
      if (call == FaultyKeychain::Call::add) added = true;
      return added && call == FaultyKeychain::Call::find ? answer : KeychainStatus::ok;
    };
    expectRefused(adding(token("B")), next, words);
  }
}

TEST_F(AddingTest, TokenThatStandsTwiceAndCannotBeRemoved) {
  fill({"B", "x", "C"});
  item(1) = item(0);
  keychain.undoes = true;
  keychain.fault = [](FaultyKeychain::Call call, std::size_t) {
    return call == FaultyKeychain::Call::remove ? KeychainStatus::write_permission
                                                : KeychainStatus::ok;
  };
  expectRefused(adding(token("E")), Next::check_keychain, "words for -61 [-61]");
  // It is there still, although it was removed.
  bool removed = false;
  keychain.fault = [&](FaultyKeychain::Call call, std::size_t) {
    if (call == FaultyKeychain::Call::remove) removed = true;
    if (removed && call == FaultyKeychain::Call::find) return KeychainStatus::item_not_found;
    return KeychainStatus::ok;
  };
  expectRefused(adding(token("E")), Next::try_again,
                "The keychain gave contradictory answers and nothing was changed; try again");
  // Nobody can tell whether it is.
  removed = false;
  keychain.fault = [&](FaultyKeychain::Call call, std::size_t) {
    if (call == FaultyKeychain::Call::remove) removed = true;
    if (removed && call == FaultyKeychain::Call::find) return KeychainStatus::io_error;
    return KeychainStatus::ok;
  };
  expectRefused(adding(token("E")), Next::check_keychain, "words for -36 [-36]");
}

TEST_F(AddingTest, MissingMemoryIsTold) {
  fill({"A"});
  keychain.undoes = true;
  keychain.fault = [](FaultyKeychain::Call call, std::size_t) -> KeychainStatus {
    if (call == FaultyKeychain::Call::add) throw std::bad_alloc();
    return KeychainStatus::ok;
  };
  expectRefused(adding(token("B")), Next::try_again,
                "Not enough memory; close other programs and try again");
}

TEST_F(AddingTest, AnotherProgramChangesTheTokens) {
  fill({"A"});
  const StoreLock lock(dataFolder());
  ASSERT_TRUE(lock.held());
  expectRefused(adding(token("B")), Next::try_again, "Another program is changing the tokens");
  EXPECT_TRUE(store.plan(token("B")).has_value()) << "needs no lock";
}

TEST_F(AddingTest, LockIsWaitedForAsTheCallerWants) {
  int waits = 0;
  TokenStore patient(gateway, keychain, nullptr, std::chrono::milliseconds(0),
                     [&waits](const std::function<void()>& work) {
                       ++waits;
                       work();
                       return true;
                     });
  EXPECT_TRUE(patient.add(token("A"), SameName::refuse).has_value());
  EXPECT_EQ(waits, 1);
  const StoreLock lock(dataFolder());
  ASSERT_TRUE(lock.held());
  expectRefused([&] { return patient.add(token("B"), SameName::refuse); }, Next::try_again,
                "holds the lock " + dataFolder() + "/store.lock");
  EXPECT_EQ(waits, 2);
}

TEST_F(AddingTest, LockThatTheCallerGivesUpIsSetFreeWhenItComes) {
  fill({"A"});
  std::function<void()> put_off;
  TokenStore hasty(gateway, keychain, nullptr, std::chrono::milliseconds(0),
                   [&put_off](std::function<void()> work) {
                     put_off = std::move(work);
                     return false;
                   });
  expectRefused([&] { return hasty.add(token("B"), SameName::refuse); }, Next::try_again,
                "The change was cancelled");
  put_off();
  put_off = nullptr;
  EXPECT_TRUE(StoreLock(dataFolder(), std::chrono::milliseconds(0)).held());
}

TEST_F(AddingTest, LockThatCannotBeMade) {
  writeFile(dataFolder(), "a file");
  expectRefused(adding(token("B")), Next::check_keychain, dataFolder());
}

// One wrong reading of the machine's identity, at any point, for any time.
TEST_F(AddingTest, IdentityThatCannotBeReadForAWhileCostsNoToken) {
  keychain.memory.items.clear();
  fill({"A", "B", "C"});
  const auto three = keychain.memory.items;
  const Items kept = items();
  identifiers.questions = 0;
  ASSERT_TRUE(store.add(token("new"), SameName::replace).has_value());
  const std::size_t questions = identifiers.questions;
  ASSERT_GE(questions, 2U) << "at the beginning and at the end";
  for (std::size_t first = 0; first < questions; ++first) {
    for (std::size_t end = first + 1; end <= questions; ++end) {
      keychain.memory.items = three;
      identifiers.questions = 0;
      identifiers.first_fault = first;
      identifiers.end_of_faults = end;
      vane::SetInterface(&gateway);
      static_cast<void>(store.add(token("new"), SameName::replace));
      for (const auto& [name, secret] : kept)
        ASSERT_EQ(items()[name], secret) << first << ' ' << end;
    }
  }
}

TEST_F(AddingTest, TokenSealedUnderAWrongIdentityIsNotSaidToBeStored) {
  fill({"A"});
  std::size_t refused = 0;
  failEachQuestion(adding(token("new"), SameName::replace),
                   [&](const Result<TokenStore::Added>& added) {
                     if (added) {
                       EXPECT_EQ(names(), (Names{"A", "new"}));
                     } else {
                       ++refused;
                     }
                   });
  EXPECT_GT(refused, 0U);
}

TEST_F(AddingTest, IdentityThatCannotBeRead) {
  fill({"A"});
  identifiers.sound.trouble = "/etc/machine-id: Permission denied";
  constexpr const char* words =
      "This computer's identity cannot be read: /etc/machine-id: Permission denied";
  expectNotAdded(token("B"), Next::check_keychain, words);
  expectNotAdded(token("A"), Next::check_keychain, words);
  EXPECT_EQ(store.checkRoom().error().words.find(words), 0U);
}

TEST_F(AddingTest, IdentityThatChangesMeanwhile) {
  fill({"A"});
  keychain.undoes = true;
  identifiers.questions = 0;
  identifiers.first_fault = 1;
  identifiers.end_of_faults = 2;
  expectRefused(adding(token("B")), Next::try_again, "identity changed in the meantime");
}

TEST_F(AddingTest, TokenThatAnInterruptionLeftTwiceStandsOnceAgain) {
  fill({"B", "x", "C", "D", "x"});
  item(1) = item(0);
  item(4) = item(3);
  EXPECT_EQ(store.add(token("E"), SameName::refuse)->slot, 3);
  EXPECT_EQ(names(), (Names{"B", "C", "D", "E"}));
}

TEST_F(AddingTest, TokenThatStandsThreeTimesAmongOthersStandsOnceAgain) {
  fill({"B", "C", "x", "D", "x"});
  item(2) = item(0);
  item(4) = item(0);
  EXPECT_EQ(store.add(token("E"), SameName::refuse)->slot, 3);
  EXPECT_EQ(names(), (Names{"B", "C", "D", "E"}));
}
}  // namespace
}  // namespace talvane::test
