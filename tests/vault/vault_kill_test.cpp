// A process that is killed at any of its system calls leaves the old vault or the new one.

#include <sys/syscall.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "tests/vault/killed_at.h"
#include "tests/vault/vault_support.h"

namespace talvane::test {
namespace {

class VaultKill : public testing::Test {
 protected:
  void SetUp() override {
    if (!TracedProcess::possible()) GTEST_SKIP() << "no permission to trace";
  }

  // Kills `change` at each of its calls in turn. `start` makes what was there before, in a folder
  // of its own each time; `seen` looks at what is there afterwards, and says whether it is new.
  template <typename Start, typename Change, typename Seen>
  static void expectOldOrNew(const Start& start, const Change& change, const Seen& seen) {
    int old_seen = 0;
    int new_seen = 0;
    bool killed = true;
    for (int calls = 0; killed; ++calls) {
      SCOPED_TRACE(calls);
      const VaultFolder folder;
      start(folder);
      killed = killedAfterCalls(calls, [&] { change(*folder.open()); });
      ++(seen(folder) ? new_seen : old_seen);
      // The next change works, and clears up.
      ASSERT_EQ(store(*folder.open(), "later", "x"), Status::ok);
      EXPECT_EQ(secretIn(*folder.open(), "later"), "x");
      EXPECT_EQ(entriesIn(folder.path()), 2U);
      ASSERT_FALSE(HasFailure());
    }
    EXPECT_GT(old_seen, 5);
    EXPECT_GT(new_seen, 2);
  }
};

TEST_F(VaultKill, AFirstItemIsThereOrNot) {
  int keys_alone = 0;
  expectOldOrNew(
      [](const VaultFolder&) {},
      [](KeychainService& keychain) { EXPECT_EQ(store(keychain, "token", "first"), Status::ok); },
      [&](const VaultFolder& folder) {
        if (exists(folder.key()) && !exists(folder.vault())) ++keys_alone;
        Status status{};
        const auto secret = secretIn(*folder.open(), "token", &status);
        if (secret) {
          EXPECT_EQ(secret, "first");
        } else {
          EXPECT_EQ(status, Status::item_not_found);
        }
        return secret.has_value();
      });
  EXPECT_GT(keys_alone, 0);
}

TEST_F(VaultKill, AReplacedItemIsTheOldOrTheNew) {
  expectOldOrNew([](const VaultFolder& folder) { folder.fill(3); },
                 [](KeychainService& keychain) {
                   EXPECT_EQ(keychain.replace("token 1", account, secretOf("new")), Status::ok);
                 },
                 [](const VaultFolder& folder) {
                   const auto secret = secretIn(*folder.open(), "token 1");
                   EXPECT_TRUE(secret == "secret 1" || secret == "new");
                   EXPECT_EQ(secretIn(*folder.open(), "token 0"), "secret 0");
                   EXPECT_EQ(secretIn(*folder.open(), "token 2"), "secret 2");
                   return secret == "new";
                 });
}

TEST_F(VaultKill, ChangesTogetherAreAllThereOrNone) {
  expectOldOrNew([](const VaultFolder& folder) { folder.fill(4); },
                 [](KeychainService& keychain) {
                   EXPECT_EQ(keychain.beginChange(), Status::ok);
                   EXPECT_EQ(keychain.remove("token 0", account), Status::ok);
                   EXPECT_EQ(keychain.replace("token 1", account, secretOf("new 1")), Status::ok);
                   EXPECT_EQ(keychain.replace("token 2", account, secretOf("new 2")), Status::ok);
                   EXPECT_EQ(keychain.add("token 4", account, secretOf("new 4")), Status::ok);
                   EXPECT_EQ(keychain.endChange(), Status::ok);
                 },
                 [](const VaultFolder& folder) {
                   const auto keychain = folder.open();
                   const bool is_new = statusOf(*keychain, "token 0") == Status::item_not_found;
                   if (!is_new) {
                     EXPECT_EQ(secretIn(*keychain, "token 0"), "secret 0");
                   }
                   EXPECT_EQ(secretIn(*keychain, "token 1"), is_new ? "new 1" : "secret 1");
                   EXPECT_EQ(secretIn(*keychain, "token 2"), is_new ? "new 2" : "secret 2");
                   EXPECT_EQ(secretIn(*keychain, "token 3"), "secret 3");
                   EXPECT_EQ(statusOf(*keychain, "token 4"),
                             is_new ? Status::ok : Status::item_not_found);
                   return is_new;
                 });
}

TEST_F(VaultKill, AnAbandonedChangeWritesNothing) {
  const VaultFolder folder;
  folder.fill(2);
  const std::string before = readFile(folder.vault());
  bool killed = true;
  for (int calls = 0; killed; ++calls) {
    killed = killedAfterCalls(calls, [&] {
      const auto keychain = folder.open();
      EXPECT_EQ(keychain->beginChange(), Status::ok);
      EXPECT_EQ(keychain->remove("token 0", account), Status::ok);
      keychain->abandonChange();
    });
    ASSERT_EQ(readFile(folder.vault()), before);
    ASSERT_EQ(entriesIn(folder.path()), 2U);
  }
}

TEST_F(VaultKill, AFirstItemStoredAtAnyMomentOfAReadingIsSeenOrNot) {
  int stored_in_between = 0;
  for (bool ended = false; !ended; ++stored_in_between) {
    SCOPED_TRACE(stored_in_between);
    const VaultFolder folder;
    TracedProcess reader([&] {
      const Status status = statusOf(*folder.open(), "token 0");
      EXPECT_TRUE(status == Status::ok || status == Status::item_not_found)
          << static_cast<int>(status);
    });
    for (int calls = 0; calls <= stored_in_between && !ended; ++calls) {
      ended = reader.nextCall() < 0;
    }
    folder.fill(1);
    while (reader.nextCall() >= 0) {
    }
    ASSERT_TRUE(reader.endedWell());
  }
  EXPECT_GT(stored_in_between, 2);
}

bool isRename(long call) {
#ifdef SYS_rename
  if (call == SYS_rename) return true;
#endif
#ifdef SYS_renameat
  if (call == SYS_renameat) return true;
#endif
  return call == SYS_renameat2;
}

// A power cut cannot be tried here; what guards from it can be seen.
TEST_F(VaultKill, TheFileIsSyncedBeforeItsRenameAndTheFolderAfterwards) {
  const VaultFolder folder;
  folder.fill(1);
  const std::vector<long> calls =
      callsOf([&] { EXPECT_EQ(store(*folder.open(), "token 0", "new"), Status::ok); });
  const auto renamed = std::find_if(calls.begin(), calls.end(), isRename);
  ASSERT_NE(renamed, calls.end());
  const auto last_write = std::find(std::reverse_iterator(renamed), calls.rend(), SYS_write);
  ASSERT_NE(last_write, calls.rend());
  EXPECT_EQ(std::count(last_write.base(), renamed, SYS_fsync), 1);
  EXPECT_EQ(std::count(renamed, calls.end(), SYS_fsync), 1);
}

TEST_F(VaultKill, ReadingTakesNoLockAndWritesNothing) {
  const VaultFolder folder;
  folder.fill(2);
  const std::vector<long> calls = callsOf([&] {
    const auto keychain = folder.open();
    keychain->beginReading(account);
    EXPECT_EQ(secretIn(*keychain, "token 0"), "secret 0");
    keychain->endReading();
    EXPECT_EQ(statusOf(*keychain, "token 2"), Status::item_not_found);
    EXPECT_EQ(keychain->describe().status, Status::ok);
  });
  for (const long call : {SYS_write, SYS_pwrite64, SYS_flock, SYS_fcntl, SYS_fsync, SYS_fdatasync,
                          SYS_fchmod, SYS_ftruncate, SYS_unlinkat}) {
    EXPECT_EQ(std::count(calls.begin(), calls.end(), call), 0) << call;
  }
  EXPECT_EQ(std::count_if(calls.begin(), calls.end(), isRename), 0);
}

// One look serves a whole reading.
TEST_F(VaultKill, AReadingOpensTheFilesOnce) {
  const VaultFolder folder;
  folder.fill(32);
  const auto read = [&](int items) {
    const std::vector<long> calls = callsOf([&] {
      const auto keychain = folder.open();
      keychain->beginReading(account);
      for (int i = 0; i < items; ++i)
        EXPECT_TRUE(secretIn(*keychain, "token " + std::to_string(i)));
      keychain->endReading();
    });
    return std::count(calls.begin(), calls.end(), SYS_openat);
  };
  EXPECT_EQ(read(1), read(32));
}

}  // namespace
}  // namespace talvane::test
