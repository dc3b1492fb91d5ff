// Two vaults stand for the two keychains, with the system's own user defaults: whatever is stored
// is in files.

#include "store/keychain_move.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "engine/vane.h"
#include "platform/linux/vault/keychain.h"
#include "platform/user_defaults.h"
#include "store/store_lock.h"
#include "tests/platform/faulty_keychain.h"
#include "tests/support/private_home.h"
#include "tests/vault/killed_at.h"

namespace talvane::test {
namespace {

constexpr const char* account = "ada";
constexpr const char* old_kind = "vault";
constexpr const char* new_kind = "secret-service";
using Records = std::map<std::uint32_t, std::string>;
using Step = KeychainMove::Unfinished::Step;

class KeychainMoveTest : public testing::Test {
 protected:
  [[nodiscard]] std::unique_ptr<KeychainService> open(const std::string& kind) const {
    return makeVaultKeychain(home.root() + '/' + kind);
  }
  void fill(const std::string& kind, const Records& records) const {
    const auto keychain = open(kind);
    ASSERT_EQ(keychain->beginChange(), KeychainStatus::ok);
    for (const auto& [slot, record] : records) {
      ASSERT_EQ(keychain->add(vane::recordName(slot), account, Bytes(record.begin(), record.end())),
                KeychainStatus::ok);
    }
    ASSERT_EQ(keychain->endChange(), KeychainStatus::ok);
  }
  [[nodiscard]] Records in(const std::string& kind) const {
    Records records;
    const auto keychain = open(kind);
    for (std::uint32_t slot = 0; slot < 32; ++slot) {
      SecretBytes secret;
      const KeychainStatus status = keychain->find(vane::recordName(slot), account, &secret);
      if (status == KeychainStatus::item_not_found) continue;
      EXPECT_EQ(status, KeychainStatus::ok);
      records[slot] = std::string(secret->begin(), secret->end());
    }
    return records;
  }
  void choose(const std::string& kind) const {
    ASSERT_TRUE(systemUserDefaults()->setString("Keychain", kind));
  }
  [[nodiscard]] static std::string value(const std::string& key) {
    std::string text = "(none)";
    EXPECT_NE(systemUserDefaults()->string(key, &text), UserDefaults::Found::unreadable);
    return text;
  }

  Result<KeychainMove::Done> move(const std::string& from, const std::string& to) {
    return mover().move(from, to);
  }
  KeychainMove mover() {
    return {*defaults, account, std::chrono::milliseconds(20),
            [this](const std::string& kind) -> std::unique_ptr<KeychainService> {
              return faulty && kind == faulty_kind ? faulty() : open(kind);
            }};
  }

  PrivateHome home;
  std::unique_ptr<UserDefaults> defaults = systemUserDefaults();
  std::function<std::unique_ptr<KeychainService>()> faulty;
  std::string faulty_kind;
  const Records three{{0, "first"}, {1, std::string("second\0", 7)}, {7, "behind a gap"}};
};

TEST_F(KeychainMoveTest, MovesEveryRecordAndTheChoice) {
  fill(old_kind, three);
  choose(old_kind);
  const auto done = move(old_kind, new_kind);
  ASSERT_TRUE(done) << done.error().words;
  EXPECT_EQ(done->moved, 3U);
  EXPECT_EQ(done->leftovers, "");
  EXPECT_EQ(in(new_kind), three);
  EXPECT_EQ(in(old_kind), Records());
  EXPECT_EQ(value("Keychain"), new_kind);
  EXPECT_EQ(value("KeychainMove"), "(none)");
}

TEST_F(KeychainMoveTest, AndBackAgain) {
  fill(old_kind, three);
  choose(old_kind);
  ASSERT_TRUE(move(old_kind, new_kind));
  ASSERT_TRUE(move(new_kind, old_kind));
  EXPECT_EQ(in(old_kind), three);
  EXPECT_EQ(in(new_kind), Records());
  EXPECT_EQ(value("Keychain"), old_kind);
}

TEST_F(KeychainMoveTest, OtherUserDefaultsStay) {
  fill(old_kind, three);
  choose(old_kind);
  ASSERT_TRUE(defaults->setString("LoginItemPromptDone", "YES"));
  ASSERT_TRUE(move(old_kind, new_kind));
  EXPECT_EQ(value("LoginItemPromptDone"), "YES");
}

TEST_F(KeychainMoveTest, WithoutTokensItOnlyChooses) {
  const auto done = move(old_kind, new_kind);
  ASSERT_TRUE(done);
  EXPECT_EQ(done->moved, 0U);
  EXPECT_EQ(value("Keychain"), new_kind);
}

TEST_F(KeychainMoveTest, WithoutTokensItChoosesAKeychainThatHoldsSome) {
  choose(old_kind);
  fill(new_kind, three);
  ASSERT_TRUE(move(old_kind, new_kind));
  EXPECT_EQ(in(new_kind), three);
  EXPECT_EQ(value("Keychain"), new_kind);
}

TEST_F(KeychainMoveTest, WhereTheyAreAlreadyNothingChanges) {
  fill(old_kind, three);
  fill(new_kind, {{0, "another user's choice of old"}});
  choose(old_kind);
  const auto done = move(old_kind, old_kind);
  ASSERT_TRUE(done);
  EXPECT_EQ(done->moved, 0U);
  EXPECT_EQ(in(old_kind), three);
  EXPECT_EQ(in(new_kind).size(), 1U) << "nobody has moved it";
}

TEST_F(KeychainMoveTest, OtherTokensInTheTargetAreNotWrittenOver) {
  fill(old_kind, three);
  fill(new_kind, {{0, "first"}, {2, "other"}});
  choose(old_kind);
  const auto done = move(old_kind, new_kind);
  ASSERT_FALSE(done);
  EXPECT_NE(done.error().words.find("holds other tokens already"), std::string::npos)
      << done.error().words;
  EXPECT_EQ(in(old_kind), three);
  EXPECT_EQ(in(new_kind), (Records{{0, "first"}, {2, "other"}}));
  EXPECT_EQ(value("Keychain"), old_kind);
  EXPECT_EQ(value("KeychainMove"), "(none)");
}

TEST_F(KeychainMoveTest, TheDefaultsKnowBetterThanTheCaller) {
  fill(new_kind, three);
  choose(new_kind);
  // Another program has moved them since this one looked.
  const auto done = move(old_kind, new_kind);
  ASSERT_TRUE(done);
  EXPECT_EQ(done->moved, 0U);
  EXPECT_EQ(in(new_kind), three);
}

TEST_F(KeychainMoveTest, AnotherProgramsChangeIsWaitedFor) {
  fill(old_kind, three);
  choose(old_kind);
  const StoreLock lock(home.data() + "/softtoken");
  ASSERT_TRUE(lock.held());
  const auto done = move(old_kind, new_kind);
  ASSERT_FALSE(done);
  EXPECT_EQ(done.error().next, Problem::Next::try_again);
  EXPECT_EQ(in(old_kind), three);
  EXPECT_EQ(in(new_kind), Records());
}

TEST_F(KeychainMoveTest, StaleCopiesOfAMoveThatWasCutShortAreWrittenOver) {
  fill(old_kind, three);
  choose(old_kind);
  ASSERT_TRUE(defaults->setString("KeychainMove", std::string("to ") + new_kind));
  fill(new_kind, {{0, "first, before it was renamed"}, {3, "deleted since"}});
  const auto unfinished = mover().unfinished();
  ASSERT_TRUE(unfinished);
  EXPECT_EQ(unfinished->step, Step::copying);
  EXPECT_EQ(unfinished->kind, new_kind);
  ASSERT_TRUE(move(old_kind, new_kind));
  EXPECT_EQ(in(new_kind), three);
  EXPECT_EQ(in(old_kind), Records());
  EXPECT_FALSE(mover().unfinished());
}

TEST_F(KeychainMoveTest, CopiesOfAMoveThatWasCutShortCanBeGivenUp) {
  fill(old_kind, three);
  choose(old_kind);
  ASSERT_TRUE(defaults->setString("KeychainMove", std::string("to ") + new_kind));
  fill(new_kind, {{0, "first"}});
  ASSERT_TRUE(move(old_kind, old_kind));
  EXPECT_EQ(in(old_kind), three);
  EXPECT_EQ(in(new_kind), Records());
  EXPECT_FALSE(mover().unfinished());
}

TEST_F(KeychainMoveTest, LeftoversAreDeletedByTheSameCallAgain) {
  fill(new_kind, {{0, "first, renamed since"}});
  fill(old_kind, three);
  choose(new_kind);
  ASSERT_TRUE(defaults->setString("KeychainMove", std::string("from ") + old_kind));
  ASSERT_TRUE(mover().unfinished());
  EXPECT_EQ(mover().unfinished()->step, Step::deleting);
  ASSERT_TRUE(move(new_kind, new_kind));
  EXPECT_EQ(in(new_kind), (Records{{0, "first, renamed since"}}));
  EXPECT_EQ(in(old_kind), Records());
  EXPECT_FALSE(mover().unfinished());
}

TEST_F(KeychainMoveTest, ChoiceThatAUserHasChangedByHandIsNoMove) {
  choose(new_kind);
  ASSERT_TRUE(defaults->setString("KeychainMove", std::string("to ") + new_kind));
  EXPECT_FALSE(mover().unfinished());
  fill(old_kind, three);
  ASSERT_TRUE(move(new_kind, new_kind));
  EXPECT_EQ(in(old_kind), three);
}

TEST_F(KeychainMoveTest, LockedTargetLeavesAllAsItWas) {
  fill(old_kind, three);
  choose(old_kind);
  faulty_kind = new_kind;
  faulty = [] {
    auto keychain = std::make_unique<FaultyKeychain>();
    keychain->failAll(KeychainStatus::interaction_not_allowed);
    return keychain;
  };
  const auto done = move(old_kind, new_kind);
  ASSERT_FALSE(done);
  EXPECT_EQ(in(old_kind), three);
  EXPECT_EQ(value("Keychain"), old_kind);
}

TEST_F(KeychainMoveTest, TargetThatDoesNotKeepWhatItGetsIsNotChosen) {
  fill(old_kind, three);
  choose(old_kind);
  faulty_kind = new_kind;
  // Each look is into a keychain of its own.
  faulty = [] { return std::make_unique<FaultyKeychain>(); };
  const auto done = move(old_kind, new_kind);
  ASSERT_FALSE(done);
  EXPECT_NE(done.error().words.find("does not hold what was copied"), std::string::npos);
  EXPECT_EQ(in(old_kind), three);
  EXPECT_EQ(value("Keychain"), old_kind);
}

TEST_F(KeychainMoveTest, LeftoversThatCannotBeDeletedAreToldOf) {
  fill(old_kind, three);
  choose(old_kind);
  faulty_kind = old_kind;
  int opened = 0;
  faulty = [&]() -> std::unique_ptr<KeychainService> {
    if (opened++ == 0) return open(old_kind);
    auto keychain = std::make_unique<FaultyKeychain>();
    keychain->failAll(KeychainStatus::interaction_not_allowed);
    return keychain;
  };
  const auto done = move(old_kind, new_kind);
  ASSERT_TRUE(done);
  EXPECT_NE(done->leftovers, "");
  EXPECT_EQ(in(new_kind), three);
  EXPECT_EQ(value("Keychain"), new_kind);
  EXPECT_TRUE(mover().unfinished());
  faulty = nullptr;
  ASSERT_TRUE(move(new_kind, new_kind));
  EXPECT_EQ(in(old_kind), Records());
}

// Killed at each of its system calls, it leaves all records in the chosen keychain, and the same
// call again finishes it.
TEST_F(KeychainMoveTest, KilledAtAnyMomentItLosesNothing) {
  if (!TracedProcess::possible()) GTEST_SKIP() << "no permission to trace";
  int before = 0;
  int copies = 0;
  int leftovers = 0;
  bool killed = true;
  for (int calls = 0; killed; ++calls) {
    SCOPED_TRACE(calls);
    for (const char* kind : {old_kind, new_kind}) {
      std::filesystem::remove_all(home.root() + '/' + kind);
    }
    std::filesystem::remove_all(home.config() + "/softtoken");
    fill(old_kind, three);
    choose(old_kind);
    killed = killedAfterCalls(calls, [&] { EXPECT_TRUE(move(old_kind, new_kind)); });
    const std::string chosen = value("Keychain");
    ASSERT_EQ(in(chosen), three) << chosen;
    if (const auto unfinished = mover().unfinished()) {
      ++(unfinished->step == Step::copying ? copies : leftovers);
    } else {
      ++before;
    }
    const auto again = move(old_kind, new_kind);
    ASSERT_TRUE(again) << again.error().words;
    ASSERT_EQ(in(new_kind), three);
    ASSERT_EQ(in(old_kind), Records());
    ASSERT_EQ(value("Keychain"), new_kind);
    ASSERT_EQ(value("KeychainMove"), "(none)");
    ASSERT_EQ(entriesIn(home.config() + "/softtoken"), 1U) << "a draft is left";
  }
  EXPECT_GT(before, 5);
  EXPECT_GT(copies, 5);
  EXPECT_GT(leftovers, 5);
}

TEST_F(KeychainMoveTest, RecordsAreCounted) {
  fill(old_kind, three);
  EXPECT_EQ(countRecords(*open(old_kind), account), 3U);
  EXPECT_EQ(countRecords(*open(new_kind), account), 0U);
  FaultyKeychain faulty_one;
  faulty_one.failAll(KeychainStatus::not_responding);
  EXPECT_EQ(countRecords(faulty_one, account), std::nullopt);
}

}  // namespace
}  // namespace talvane::test
