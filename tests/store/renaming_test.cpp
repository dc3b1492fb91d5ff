// Renaming tokens.

#include "platform/folders.h"
#include "store/store_lock.h"
#include "tests/store/store_test.h"

namespace talvane::test {
namespace {

using Rename = TokenStore::Rename;

class RenamingTest : public StoreTest {
 protected:
  RenamingTest() {
    fill({"A", "B|Bee", "C"});
    seen = read();
  }
  Result<void> rename(std::int32_t slot, const std::string& name) {
    const Rename wanted{slot, seen.list[static_cast<std::size_t>(slot)].get(), name};
    return store.rename({&wanted, 1});
  }

  StoredTokens seen;
};

TEST_F(RenamingTest, KeepsTheCreationName) {
  ASSERT_TRUE(rename(0, "Mail").has_value());
  ASSERT_TRUE(rename(1, "Bank").has_value());
  EXPECT_EQ(names(), (Names{"A|Mail", "B|Bank", "C"}));
  EXPECT_EQ(read().list[1]->seed32->get(), seedOf(1));
}

TEST_F(RenamingTest, NamesAreReadAsTheTokenDoes) {
  ASSERT_TRUE(rename(0, "My+%43af|e").has_value());
  EXPECT_EQ(names()[0], "A|My Cafe");
}

TEST_F(RenamingTest, SeveralAtOnce) {
  const Rename wanted[] = {{2, seen.list[2].get(), "Cee"}, {0, seen.list[0].get(), "Ay"}};
  ASSERT_TRUE(store.rename(wanted).has_value());
  EXPECT_EQ(names(), (Names{"A|Ay", "B|Bee", "C|Cee"}));
}

TEST_F(RenamingTest, NameThatItHasAlreadyWritesNothing) {
  const Items before = items();
  keychain.fault = [](FaultyKeychain::Call call, std::size_t) {
    EXPECT_EQ(call, FaultyKeychain::Call::find);
    return KeychainStatus::ok;
  };
  EXPECT_TRUE(rename(0, "A").has_value());
  EXPECT_TRUE(rename(1, "Bee").has_value());
  EXPECT_TRUE(rename(1, "B%65e|").has_value()) << "as the token reads it";
  EXPECT_TRUE(store.rename({}).has_value());
  EXPECT_EQ(items(), before);
}

TEST_F(RenamingTest, OneRefusedNameLeavesAllAsTheyWere) {
  for (const char* name : {"", "||", "%7C", "a%00b", "a\xE2\x80\x8B", "\xFF"}) {
    expectRefused(
        [&] {
          const Rename wanted[] = {{0, seen.list[0].get(), "good"}, {1, seen.list[1].get(), name}};
          return store.rename(wanted);
        },
        Next::other_input, "");
  }
}

TEST_F(RenamingTest, OldNamesThatWouldBeRefusedTodayAreNoHindrance) {
  auto slot = 0;
  ASSERT_TRUE(vane::WriteToken(&slot, token("a\x01|b", seedOf(0))));
  seen = read();
  ASSERT_TRUE(rename(0, "new").has_value());
  EXPECT_EQ(names()[0], "a\x01|new");
}

TEST_F(RenamingTest, AnotherTokenInTheSlot) {
  constexpr const char* words =
      "The tokens changed in the meantime and nothing was renamed; check them and try again";
  auto slot = 1;
  ASSERT_TRUE(vane::WriteToken(&slot, token("B|Bee", other_seed_16)));
  expectRefused([&] { return rename(1, "new"); }, Next::look_again, words);
  ASSERT_TRUE(vane::WriteToken(&slot, token("D", seedOf(1))));
  expectRefused([&] { return rename(1, "new"); }, Next::look_again, words);
  expectRefused(
      [&] {
        const Rename wanted[] = {{0, seen.list[0].get(), "good"}, {1, seen.list[1].get(), "new"}};
        return store.rename(wanted);
      },
      Next::look_again, words);
}

TEST_F(RenamingTest, SlotThatIsEmptyByNow) {
  vane::DeleteToken(2);
  expectRefused([&] { return rename(2, "new"); }, Next::look_again, "in the meantime");
  const Rename nowhere[] = {
      {-1, seen.list[0].get(), "x"}, {32, seen.list[0].get(), "x"}, {0, nullptr, "x"}};
  for (const Rename& wanted : nowhere) {
    expectRefused([&] { return store.rename({&wanted, 1}); }, Next::look_again, "in the meantime");
  }
}

TEST_F(RenamingTest, NameGivenInTheMeantimeMakesItNoOtherToken) {
  auto slot = 0;
  ASSERT_TRUE(vane::WriteToken(&slot, token("A|elsewhere", seedOf(0))));
  ASSERT_TRUE(rename(0, "here").has_value());
  EXPECT_EQ(names()[0], "A|here");
}

TEST_F(RenamingTest, BesideARecordThatDoesNotLoad) {
  makeForeign(1);
  const Bytes kept = item(1).get();
  ASSERT_TRUE(rename(0, "new").has_value());
  EXPECT_EQ(names(), Names{"A|new"});
  EXPECT_EQ(item(1).get(), kept);
  expectRefused([&] { return rename(1, "new"); }, Next::look_again, "");
}

TEST_F(RenamingTest, AnotherProgramChangesTheTokens) {
  const StoreLock lock(dataFolder());
  expectRefused([&] { return rename(0, "new"); }, Next::try_again, "Another program");
}

TEST_F(RenamingTest, ChangeThatCannotBeBegunOrIsNotKept) {
  keychain.undoes = true;
  keychain.end_status = KeychainStatus::disk_full;
  expectRefused([&] { return rename(0, "new"); }, Next::check_keychain, "words for -34 [-34]");
  keychain.end_status = KeychainStatus::ok;
  keychain.begin_status = KeychainStatus::io_error;
  expectRefused([&] { return rename(0, "new"); }, Next::check_keychain, "words for -36 [-36]");
}

TEST_F(RenamingTest, RecordThatIsMissingAfterItWasReplaced) {
  keychain.undoes = true;
  bool replaced = false;
  keychain.fault = [&replaced](FaultyKeychain::Call call, std::size_t) {
    if (call == FaultyKeychain::Call::replace) replaced = true;
    return replaced && call == FaultyKeychain::Call::find ? KeychainStatus::item_not_found
                                                          : KeychainStatus::ok;
  };
  expectRefused([&] { return rename(0, "Mail"); }, Next::try_again,
                "The keychain gave contradictory answers and nothing was renamed; try again");
}

TEST_F(RenamingTest, KeychainThatFailsAnywhereKeepsTheOldNames) {
  const Rename wanted[] = {{0, seen.list[0].get(), "Ay"}, {1, seen.list[1].get(), "Bea"}};
  failEachCall([&] { return store.rename(wanted); },
               [&](const Result<void>& renamed, const Items& kept) {
                 EXPECT_FALSE(renamed.has_value());
                 EXPECT_EQ(items(), kept);
               });
}

TEST_F(RenamingTest, IdentityThatCannotBeReadForAMomentKeepsTheToken) {
  keychain.undoes = true;
  failEachQuestion([&] { return rename(0, "new"); },
                   [&](const Result<void>& renamed) {
                     EXPECT_EQ(names(), (Names{renamed ? "A|new" : "A", "B|Bee", "C"}));
                   });
}

TEST_F(RenamingTest, TokenThatAnInterruptionLeftTwiceKeepsItsNewName) {
  keychain.memory.items.clear();
  fill({"A", "B", "x", "C"});
  item(2) = item(1);
  seen = read();
  ASSERT_TRUE(rename(2, "new").has_value());
  EXPECT_EQ(names(), (Names{"A", "B|new", "C"}));
}

TEST_F(RenamingTest, TokenThatAnInterruptionLeftTwiceIsRenamedInBothSlots) {
  keychain.memory.items.clear();
  fill({"A", "B", "x", "C"});
  item(2) = item(1);
  seen = read();
  const Rename wanted[] = {{1, seen.list[1].get(), "new"}, {2, seen.list[2].get(), "new"}};
  ASSERT_TRUE(store.rename(wanted).has_value());
  EXPECT_EQ(names(), (Names{"A", "B|new", "C"}));
}

TEST_F(RenamingTest, TokenThatStandsTwiceAndCannotBeRemovedKeepsItsNames) {
  keychain.memory.items.clear();
  fill({"A", "B", "x", "C"});
  item(2) = item(1);
  seen = read();
  keychain.undoes = true;
  keychain.fault = [](FaultyKeychain::Call call, std::size_t) {
    return call == FaultyKeychain::Call::remove ? KeychainStatus::write_permission
                                                : KeychainStatus::ok;
  };
  expectRefused([&] { return rename(2, "new"); }, Next::check_keychain, "words for -61 [-61]");
}

TEST_F(RenamingTest, IdentityThatCannotBeRead) {
  const Items before = items();
  identifiers.sound.trouble = "/etc/machine-id: Input/output error";
  EXPECT_EQ(rename(0, "new").error().next, Next::check_keychain);
  EXPECT_EQ(items(), before);
}

}  // namespace
}  // namespace talvane::test
