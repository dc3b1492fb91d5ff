#include "store/store_lock.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <functional>
#include <memory>
#include <thread>

#include "tests/support/end_child.h"
#include "tests/support/in_child.h"
#include "tests/support/temporary_folder.h"

#ifdef __linux__
#include <sys/syscall.h>

#include "tests/support/failing_call.h"
#endif

namespace talvane::test {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds no_patience{0};
constexpr milliseconds long_patience = std::chrono::seconds(60);

/// Another process that holds the lock until it is told to let go, or is killed.
class OtherHolder {
 public:
  explicit OtherHolder(const std::string& folder) {
    std::array<int, 2> ready{};
    std::array<int, 2> release{};
    EXPECT_EQ(pipe(ready.data()), 0);
    EXPECT_EQ(pipe(release.data()), 0);
    child_ = fork();
    if (child_ == 0) {
      alarm(100);
      close(release[1]);
      const StoreLock lock(folder, no_patience);
      const char answer = lock.held() ? 'h' : 'n';
      char byte = 0;
      if (write(ready[1], &answer, 1) != 1 || read(release[0], &byte, 1) < 0) _exit(1);
      endChild(0);  // without destructors: the system gives the lock back
    }
    close(ready[1]);
    close(release[0]);
    release_ = release[1];
    char answer = 0;
    EXPECT_EQ(read(ready[0], &answer, 1), 1);
    EXPECT_EQ(answer, 'h');
    close(ready[0]);
  }
  ~OtherHolder() {
    letGo();
    if (child_ > 0) resultOf(child_);
  }
  OtherHolder(const OtherHolder&) = delete;
  OtherHolder& operator=(const OtherHolder&) = delete;

  void letGo() {
    if (release_ >= 0) close(release_);
    release_ = -1;
  }
  void die() {
    ASSERT_GT(child_, 0);
    kill(child_, SIGKILL);
    EXPECT_EQ(resultOf(child_), -SIGKILL);
    child_ = -1;
  }

 private:
  pid_t child_ = -1;
  int release_ = -1;
};

class StoreLockTest : public testing::Test {
 protected:
  TemporaryFolder parent;
  const std::string folder = parent / "data/softtoken";
};

TEST_F(StoreLockTest, IsHeldWhenNobodyElseHoldsIt) {
  const StoreLock lock(folder);
  EXPECT_TRUE(lock.held());
  EXPECT_EQ(lock.error(), "");
}

TEST_F(StoreLockTest, FolderAndFileAreCreatedForTheUserAlone) {
  const mode_t before = umask(0);
  const StoreLock lock(folder);
  umask(before);
  ASSERT_TRUE(lock.held());
  EXPECT_EQ(modeOf(parent / "data"), 0700);
  EXPECT_EQ(modeOf(folder), 0700);
  EXPECT_EQ(modeOf(folder + "/store.lock"), 0600);
}

TEST_F(StoreLockTest, CanBeTakenAgainAfterItsEnd) {
  for (int i = 0; i < 3; ++i) {
    const StoreLock lock(folder, no_patience);
    EXPECT_TRUE(lock.held()) << i;
  }
}

TEST_F(StoreLockTest, SecondOneInTheSameProgramIsRefused) {
  const StoreLock first(folder, no_patience);
  ASSERT_TRUE(first.held());
  {
    const StoreLock second(folder, no_patience);
    EXPECT_FALSE(second.held());
    EXPECT_FALSE(second.error().empty());
  }
  const StoreLock third(folder, no_patience);
  EXPECT_FALSE(third.held()) << "the end of the refused one does not free the first";
}

TEST_F(StoreLockTest, FoldersAreApart) {
  const StoreLock first(folder, no_patience);
  const StoreLock second(parent / "other", no_patience);
  EXPECT_TRUE(first.held());
  EXPECT_TRUE(second.held());
}

TEST_F(StoreLockTest, AnotherProcessHoldingItIsSaid) {
  const OtherHolder other(folder);
  const StoreLock lock(folder, no_patience);
  EXPECT_FALSE(lock.held());
  EXPECT_NE(lock.error().find("nother program"), std::string::npos) << lock.error();
}

TEST_F(StoreLockTest, WaitsAsLongAsItsPatience) {
  const OtherHolder other(folder);
  const auto begin = std::chrono::steady_clock::now();
  const StoreLock lock(folder, milliseconds(150));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(150));
  EXPECT_FALSE(lock.held());
}

TEST_F(StoreLockTest, IsGotWhenTheOtherLetsGoMeanwhile) {
  OtherHolder other(folder);
  std::thread later([&] {
    std::this_thread::sleep_for(milliseconds(50));
    other.letGo();
  });
  const StoreLock lock(folder, long_patience);
  EXPECT_TRUE(lock.held());
  EXPECT_EQ(lock.error(), "");
  later.join();
}

TEST_F(StoreLockTest, KilledHolderHoldsNothing) {
  OtherHolder other(folder);
  other.die();
  const StoreLock lock(folder, no_patience);
  EXPECT_TRUE(lock.held());
}

TEST_F(StoreLockTest, KilledHolderSetsAWaitingOneFree) {
  OtherHolder other(folder);
  std::thread later([&] {
    std::this_thread::sleep_for(milliseconds(50));
    other.die();
  });
  const StoreLock lock(folder, long_patience);
  EXPECT_TRUE(lock.held());
  later.join();
}

TEST_F(StoreLockTest, ProgramStartedMeanwhileDoesNotKeepIt) {
  pid_t child = -1;
  {
    const StoreLock lock(folder, no_patience);
    ASSERT_TRUE(lock.held());
    std::string program = "/bin/sleep";
    std::string seconds = "100";
    std::array<char*, 3> words{program.data(), seconds.data(), nullptr};
    ASSERT_EQ(posix_spawn(&child, program.c_str(), nullptr, nullptr, words.data(), environ), 0);
  }
  const StoreLock lock(folder, no_patience);
  EXPECT_TRUE(lock.held());
  kill(child, SIGKILL);
  resultOf(child);
}

TEST_F(StoreLockTest, OnlyOneOfManyHoldsItAtATime) {
  constexpr int processes = 4;
  constexpr int rounds = 25;
  const std::string counter = parent / "counter";
  writeFile(counter, "0");
  std::array<pid_t, processes> children{};
  for (pid_t& child : children) {
    child = fork();
    if (child != 0) continue;
    alarm(100);
    int code = 0;
    for (int i = 0; i < rounds && code == 0; ++i) {
      const StoreLock lock(folder, long_patience);
      if (!lock.held()) code = 1;
      // Without the lock, two would read the same number.
      writeFile(counter, std::to_string(std::stoi("0" + readFile(counter)) + 1));
    }
    endChild(code);
  }
  for (const pid_t child : children) EXPECT_EQ(resultOf(child), 0);
  EXPECT_EQ(readFile(counter), std::to_string(processes * rounds));
}

TEST_F(StoreLockTest, FileInTheFoldersPlaceIsSaid) {
  writeFile(parent / "file", "content");
  errno = 0;
  const StoreLock lock(parent / "file");
  EXPECT_FALSE(lock.held());
  EXPECT_NE(lock.error().find(parent / "file"), std::string::npos) << lock.error();
  EXPECT_EQ(lock.error().find("Success"), std::string::npos) << lock.error();
}

TEST_F(StoreLockTest, FolderInTheFilesPlaceIsSaid) {
  ASSERT_EQ(mkdir((parent / "store.lock").c_str(), 0700), 0);
  const StoreLock lock(parent.path());
  EXPECT_FALSE(lock.held());
  EXPECT_EQ(lock.error(), "Cannot open " + parent.path() +
                              "/store.lock (Is a directory); check who owns it and its folder");
}

#ifdef __linux__
TEST_F(StoreLockTest, FileSystemWithoutLocksIsSaid) {
  inChild([&] {
    ASSERT_TRUE(letCallsFail({SYS_flock}, ENOLCK));
    const StoreLock lock(parent.path());
    EXPECT_FALSE(lock.held());
    EXPECT_FALSE(lock.busy());
    EXPECT_EQ(lock.error(),
              "Cannot lock " + parent.path() +
                  "/store.lock (No locks available); use a file system that has locks");
  });
}
#endif

TEST_F(StoreLockTest, FolderThatCannotBeCreatedIsSaid) {
  asOrdinaryUser(parent.path(), [&] {
    ASSERT_EQ(chmod(parent.path().c_str(), 0500), 0);
    const StoreLock lock(folder);
    EXPECT_FALSE(lock.held());
    EXPECT_NE(lock.error().find(folder), std::string::npos) << lock.error();
    EXPECT_EQ(chmod(parent.path().c_str(), 0700), 0);
  });
}

TEST_F(StoreLockTest, FileThatMayNotBeOpenedIsSaid) {
  writeFile(parent / "store.lock", "");
  asOrdinaryUser(parent.path(), [&] {
    ASSERT_EQ(chmod((parent / "store.lock").c_str(), 0), 0);
    const StoreLock lock(parent.path());
    EXPECT_FALSE(lock.held());
    EXPECT_NE(lock.error().find(parent / "store.lock"), std::string::npos) << lock.error();
  });
}

TEST_F(StoreLockTest, PipeInTheFilesPlaceDoesNotHang) {
  ASSERT_EQ(mkfifo((parent / "store.lock").c_str(), 0600), 0);
  inChild([&] { const StoreLock lock(parent.path(), no_patience); }, 10);
}

TEST(StoreLockOwner, FolderOfAnotherUserIsRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
  const TemporaryFolder folder;
  ASSERT_EQ(chown(folder.path().c_str(), nobody, nobody), 0);
  const StoreLock lock(folder.path());
  EXPECT_FALSE(lock.held());
  EXPECT_FALSE(lock.busy());
  EXPECT_NE(lock.error().find("does not belong to you"), std::string::npos) << lock.error();
}

TEST(StoreLockOwner, LinkInPlaceOfTheLockIsNotFollowed) {
  const TemporaryFolder folder;
  ASSERT_EQ(symlink((folder / "precious").c_str(), (folder / "store.lock").c_str()), 0);
  const StoreLock lock(folder.path());
  EXPECT_FALSE(lock.held());
  EXPECT_NE(lock.error().find("store.lock"), std::string::npos) << lock.error();
  EXPECT_NE(access((folder / "precious").c_str(), F_OK), 0);
}

}  // namespace
}  // namespace talvane::test
