// The vault among other processes.

#include <cerrno>
#include <chrono>
#include <thread>
#include <vector>

#include "tests/support/end_child.h"
#include "tests/support/failing_call.h"
#include "tests/vault/neighbour.h"

namespace talvane::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

TEST(VaultOthers, ChangesOfAnotherProcessAreSeenAtOnce) {
  const VaultFolder folder;
  const auto keychain = folder.open();
  for (const char* text : {"one", "two", "three"}) {
    inChild([&] { EXPECT_EQ(store(*folder.open(), "token", text), Status::ok); });
    EXPECT_EQ(secretIn(*keychain, "token"), text);
  }
  inChild([&] { EXPECT_EQ(folder.open()->remove("token", account), Status::ok); });
  EXPECT_EQ(statusOf(*keychain, "token"), Status::item_not_found);
}

// `work` in each of so many processes at once; the process's number is its argument. Its results.
template <typename Work>
std::vector<int> atOnce(int processes, const Work& work) {
  int gate[2];
  EXPECT_EQ(pipe(gate), 0);
  std::vector<pid_t> children;
  for (int i = 0; i < processes; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      close(gate[1]);
      char end = 0;
      static_cast<void>(!read(gate[0], &end, 1));  // returns when the gate is closed
      endChild(work(i));
    }
    children.push_back(child);
  }
  close(gate[1]);
  close(gate[0]);
  std::vector<int> results;
  for (const pid_t child : children) results.push_back(resultOf(child));
  return results;
}

TEST(VaultOthers, ManyFirstStartsAgreeOnOneKey) {
  for (int round = 0; round < 40; ++round) {
    const VaultFolder folder;
    const auto results = atOnce(16, [&](int i) {
      const std::string name = std::to_string(i);
      const auto keychain = folder.open();
      const Status before = statusOf(*keychain, "token " + name);
      if (before != Status::item_not_found) return 1;
      return store(*keychain, "token " + name, "secret " + name) == Status::ok ? 0 : 2;
    });
    ASSERT_EQ(results, std::vector<int>(16, 0));
    const auto keychain = folder.open();
    for (int i = 0; i < 16; ++i) {
      ASSERT_EQ(secretIn(*keychain, "token " + std::to_string(i)), "secret " + std::to_string(i));
    }
    ASSERT_EQ(entriesIn(folder.path()), 2U);
  }
}

// The same where folders cannot be locked, as on NFS: the items of some may be lost, and programs
// take the store's lock; but no vault is left without its key.
TEST(VaultOthers, FirstStartsWithoutALockAgreeOnOneKey) {
  for (int round = 0; round < 40; ++round) {
    const VaultFolder folder;
    const auto results = atOnce(8, [&](int i) {
      if (!letCallsFail({SYS_flock}, EBADF)) return 1;
      return store(*folder.open(), "token " + std::to_string(i), "x") == Status::ok ? 0 : 2;
    });
    ASSERT_EQ(results, std::vector<int>(8, 0));
    ASSERT_EQ(folder.open()->describe().status, Status::ok);
    ASSERT_EQ(entriesIn(folder.path()), 2U);
  }
}

TEST(VaultOthers, ReadersDoNotWaitForAnOpenChange) {
  const VaultFolder folder;
  folder.fill(1);
  const Neighbour neighbour([&] {
    static const auto keychain = folder.open();
    ASSERT_EQ(keychain->beginChange(), Status::ok);
    ASSERT_EQ(store(*keychain, "token 0", "newer"), Status::ok);
  });
  const auto start = steady_clock::now();
  EXPECT_EQ(secretIn(*folder.open(), "token 0"), "secret 0");
  EXPECT_EQ(statusOf(*folder.open(), "token 1"), Status::item_not_found);
  EXPECT_LT(steady_clock::now() - start, milliseconds(500));
}

TEST(VaultOthers, AnotherProcessesOpenChangeIsNotWaitedForLong) {
  const VaultFolder folder;
  folder.fill(1);
  const Neighbour neighbour([&] {
    static const auto keychain = folder.open();
    ASSERT_EQ(keychain->beginChange(), Status::ok);
  });
  const std::string draft = folder.path() + "/vault.draft-abcdef";
  writeFile(draft, "which the neighbour is writing");
  const auto keychain = folder.open();
  const auto start = steady_clock::now();
  EXPECT_EQ(store(*keychain, "token 1", "x"), Status::not_responding);
  EXPECT_TRUE(exists(draft));
  const auto wait = steady_clock::now() - start;
  EXPECT_GE(wait, milliseconds(1900));
  EXPECT_LT(wait, milliseconds(2900));
  EXPECT_EQ(secretIn(*keychain, "token 0"), "secret 0");
}

TEST(VaultOthers, AShortLockIsWaitedFor) {
  const VaultFolder folder;
  folder.fill(1);
  Neighbour neighbour([&] {
    static const auto keychain = folder.open();
    ASSERT_EQ(keychain->beginChange(), Status::ok);
  });
  std::thread release([&] {
    std::this_thread::sleep_for(milliseconds(300));
    neighbour.end();
  });
  EXPECT_EQ(store(*folder.open(), "token 1", "x"), Status::ok);
  release.join();
  EXPECT_EQ(secretIn(*folder.open(), "token 1"), "x");
}

// Two items that always change together, and processes that read and write them all the time.
TEST(VaultOthers, ReadersAndWritersDoNotDisturbEachOther) {
  const VaultFolder folder;
  folder.fill(30);
  ASSERT_EQ(store(*folder.open(), "left", "0"), Status::ok);
  ASSERT_EQ(store(*folder.open(), "right", "0"), Status::ok);
  const auto end = steady_clock::now() + milliseconds(1500);
  std::vector<pid_t> children;
  for (const bool writes : {true, true, false, false, false}) {
    const pid_t child = fork();
    if (child == 0) {
      const auto keychain = folder.open();
      for (unsigned number = static_cast<unsigned>(getpid()) * 1000; steady_clock::now() < end;
           ++number) {
        const std::string text = std::to_string(number) + std::string(number % 3 * 2000, '.');
        if (writes) {
          if (keychain->beginChange() != Status::ok ||
              store(*keychain, "left", text) != Status::ok ||
              store(*keychain, "right", text) != Status::ok ||
              keychain->endChange() != Status::ok) {
            _exit(2);
          }
        } else {
          keychain->beginReading(account);
          const auto left = secretIn(*keychain, "left");
          const auto right = secretIn(*keychain, "right");
          keychain->endReading();
          if (!left || left != right || secretIn(*keychain, "token 7") != "secret 7") _exit(3);
          if (statusOf(*keychain, "token 30") != Status::item_not_found) _exit(4);
        }
      }
      endChild(0);
    }
    children.push_back(child);
  }
  for (const pid_t child : children) EXPECT_EQ(resultOf(child), 0);
  EXPECT_EQ(secretIn(*folder.open(), "left"), secretIn(*folder.open(), "right"));
}

}  // namespace
}  // namespace talvane::test
