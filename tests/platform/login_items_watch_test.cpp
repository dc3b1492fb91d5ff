#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <string>

#include "tests/platform/autostart_home.h"
#include "tests/support/in_child.h"

namespace talvane::test {
namespace {

// What the file system tells, it has told when the change returns; the two seconds are for a busy
// machine.
class LoginItemsWatchTest : public AutostartHome {
 protected:
  LoginItemsWatchTest() { std::filesystem::create_directory(own); }

  static bool isReadable(const talibobjc_LoginItem& item, int milliseconds) {
    pollfd watched{item.loginItems()->watchDescriptor(), POLLIN, 0};
    return poll(&watched, 1, milliseconds) == 1;
  }
  /// How often the property's change is told of what has happened so far.
  int timesTold(talibobjc_LoginItem& item) {
    EXPECT_GE(item.loginItems()->watchDescriptor(), 0);
    int will = 0;
    int did = 0;
    item.observeLaunchAtLogin([&](std::string_view) { ++will; },
                              [&](std::string_view key) {
                                EXPECT_EQ(key, "launchAtLogin");
                                ++did;
                                EXPECT_EQ(will, did);
                                told_on = item.launchAtLogin();
                              });
    if (isReadable(item, 2000)) {
      item.loginItems()->readChanges();
      // Nothing is left, unless the watches moved meanwhile: that is said without being told.
      for (int round = 0; round < 4 && isReadable(item, 0); ++round) {
        item.loginItems()->readChanges();
      }
      EXPECT_FALSE(isReadable(item, 0));
    }
    item.observeLaunchAtLogin(nullptr, nullptr);
    return did;
  }
  /// How many events the kernel keeps for a reader.
  static int longestQueue() {
    int events = 0;
    std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> events;
    return events;
  }
  /// What the property read as when its change was told last.
  bool told_on = false;
};

TEST_F(LoginItemsWatchTest, RemovalByAnotherProgramIsTold) {
  set(true);
  talibobjc_LoginItem item = loginItemOf(program);
  ASSERT_EQ(unlink((own + "/softtoken.desktop").c_str()), 0);
  told_on = true;
  EXPECT_EQ(timesTold(item), 1);
  EXPECT_FALSE(told_on);
}

TEST_F(LoginItemsWatchTest, AdditionByAnotherProgramIsTold) {
  talibobjc_LoginItem item = loginItemOf(program);
  writeOwn("x.desktop", entry(program));
  EXPECT_EQ(timesTold(item), 1);
  EXPECT_TRUE(told_on);
}

TEST_F(LoginItemsWatchTest, RewritingAndRenamingAreTold) {
  writeOwn("x.desktop", entry(program));
  talibobjc_LoginItem item = loginItemOf(program);
  writeOwn("x.desktop", entry(program, "Hidden=true\n"));
  told_on = true;
  EXPECT_EQ(timesTold(item), 1);
  EXPECT_FALSE(told_on);
  writeOwn("new", entry(program));
  ASSERT_EQ(rename((own + "/new").c_str(), (own + "/x.desktop").c_str()), 0);
  EXPECT_EQ(timesTold(item), 1);
  EXPECT_TRUE(told_on);
  ASSERT_EQ(rename((own + "/x.desktop").c_str(), (own + "/x.off").c_str()), 0);
  EXPECT_EQ(timesTold(item), 1);
  EXPECT_FALSE(told_on);
}

TEST_F(LoginItemsWatchTest, OwnChangeIsToldByTheListAsWell) {
  talibobjc_LoginItem item = loginItemOf(program);
  item.setLaunchAtLogin(true);
  EXPECT_EQ(timesTold(item), 1);
  EXPECT_TRUE(told_on);
  item.setLaunchAtLogin(true);
  EXPECT_FALSE(isReadable(item, 0));
  item.setLaunchAtLogin(false);
  EXPECT_EQ(timesTold(item), 1);
  EXPECT_FALSE(told_on);
}

TEST_F(LoginItemsWatchTest, ChangeInTheSystemsFolderIsTold) {
  talibobjc_LoginItem item = loginItemOf(program);
  writeShared("x.desktop", entry(program));
  EXPECT_EQ(timesTold(item), 1);
  EXPECT_TRUE(told_on);
}

TEST_F(LoginItemsWatchTest, BurstIsToldOnce) {
  talibobjc_LoginItem item = loginItemOf(program);
  for (int count = 0; count < 200; ++count) {
    writeOwn(std::to_string(count) + ".desktop", entry(other));
  }
  EXPECT_EQ(timesTold(item), 1);
}

TEST_F(LoginItemsWatchTest, ReadingTellsNothing) {
  writeOwn("x.desktop", entry(program));
  talibobjc_LoginItem item = loginItemOf(program);
  EXPECT_TRUE(item.launchAtLogin());
  EXPECT_FALSE(isReadable(item, 100));
  int told = 0;
  item.observeLaunchAtLogin(nullptr, [&](std::string_view) { ++told; });
  item.loginItems()->readChanges();
  EXPECT_EQ(told, 0);
}

TEST_F(LoginItemsWatchTest, OtherFilesAreNotTold) {
  talibobjc_LoginItem item = loginItemOf(program);
  writeOwn("notes.txt", "x");
  writeFile(home.config() + "/beside.desktop", "x");
  EXPECT_EQ(timesTold(item), 0);
}

TEST_F(LoginItemsWatchTest, FolderThatIsMadeLaterIsNoticedAndThenWatched) {
  std::filesystem::remove(own);
  talibobjc_LoginItem item = loginItemOf(program);
  std::filesystem::create_directory(own);
  EXPECT_EQ(timesTold(item), 1);
  writeOwn("x.desktop", entry(program));
  EXPECT_EQ(timesTold(item), 1);
  EXPECT_TRUE(told_on);
}

TEST_F(LoginItemsWatchTest, FolderThatIsMadeWithAnEntryIsTold) {
  std::filesystem::remove(own);
  talibobjc_LoginItem item = loginItemOf(program);
  writeOwn("x.desktop", entry(program));
  EXPECT_GE(timesTold(item), 1);
  EXPECT_TRUE(told_on);
}

TEST_F(LoginItemsWatchTest, FoldersAboveThatAreMadeLaterAreFollowed) {
  home.environment.set("XDG_CONFIG_HOME", home.root() + "/a/b/c");
  talibobjc_LoginItem item = loginItemOf(program);
  for (const std::string folder : {"/a", "/a/b", "/a/b/c", "/a/b/c/autostart"}) {
    ASSERT_TRUE(std::filesystem::create_directory(home.root() + folder));
    EXPECT_EQ(timesTold(item), 1) << folder;
  }
  writeFile(home.root() + "/a/b/c/autostart/x.desktop", entry(program));
  EXPECT_EQ(timesTold(item), 1);
  EXPECT_TRUE(told_on);
}

TEST_F(LoginItemsWatchTest, FoldersWithTheSameMissingFolderAboveAreFollowed) {
  home.environment.set("XDG_CONFIG_DIRS", home.root() + "/a/b:" + home.root() + "/a/c");
  talibobjc_LoginItem item = loginItemOf(program);
  ASSERT_TRUE(std::filesystem::create_directory(home.root() + "/a"));
  EXPECT_EQ(timesTold(item), 1);
  for (const std::string folder : {"/a/b/autostart", "/a/c/autostart"}) {
    std::filesystem::create_directories(home.root() + folder);
    EXPECT_GE(timesTold(item), 1) << folder;
    writeFile(home.root() + folder + "/x.desktop", entry(program));
    EXPECT_EQ(timesTold(item), 1) << folder;
  }
}

TEST_F(LoginItemsWatchTest, FolderThatCannotBeWatchedIsWatchedFromAbove) {
  writeOwn("x.desktop", entry(program));
  asOrdinaryUser(home.root(), [&] {
    ASSERT_EQ(chmod(own.c_str(), 0), 0);
    talibobjc_LoginItem item = loginItemOf(program);
    EXPECT_FALSE(item.launchAtLogin());
    ASSERT_EQ(chmod(own.c_str(), 0700), 0);
    EXPECT_GE(timesTold(item), 1);
    EXPECT_TRUE(told_on);
    writeOwn("x.desktop", entry(program, "Hidden=true\n"));
    EXPECT_EQ(timesTold(item), 1);
    EXPECT_FALSE(told_on);
  });
}

TEST_F(LoginItemsWatchTest, MissingFolderAtTheTopIsNoHindrance) {
  home.environment.set("XDG_CONFIG_DIRS", "/no such folder is here");
  talibobjc_LoginItem item = loginItemOf(program);
  writeOwn("x.desktop", entry(program));
  EXPECT_EQ(timesTold(item), 1);
  EXPECT_TRUE(told_on);
}

// The kernel's queue is limited; when it is full, it says so and drops what comes.
TEST_F(LoginItemsWatchTest, ChangesThatWereLostAreTold) {
  const int limit = longestQueue();
  if (limit <= 0 || limit > 100'000) GTEST_SKIP() << "the queue is too long";
  talibobjc_LoginItem item = loginItemOf(program);
  for (int count = 0; count <= limit / 2; ++count) {
    writeFile(own + "/notes.txt", "x");
    ASSERT_EQ(unlink((own + "/notes.txt").c_str()), 0);
  }
  writeOwn("x.desktop", entry(program));
  EXPECT_GE(timesTold(item), 1);
  EXPECT_TRUE(told_on);
}

TEST_F(LoginItemsWatchTest, ProgramThatKeepsWritingDoesNotHoldUpTheReading) {
  if (longestQueue() < 6000) GTEST_SKIP() << "the queue is too short";
  talibobjc_LoginItem item = loginItemOf(program);
  // Each event takes 272 bytes, of which at most 16 × 64 KB are read at once.
  const std::string name = own + '/' + std::string(240, 'x') + ".desktop";
  for (int count = 0; count < 2000; ++count) {
    writeFile(name, "x");
    ASSERT_EQ(unlink(name.c_str()), 0);
  }
  item.loginItems()->readChanges();
  EXPECT_TRUE(isReadable(item, 0)) << "the rest is for the next time";
  EXPECT_EQ(timesTold(item), 1);
}

TEST_F(LoginItemsWatchTest, FolderThatIsRemovedAndMadeAgainIsFollowed) {
  set(true);
  talibobjc_LoginItem item = loginItemOf(program);
  std::filesystem::remove_all(own);
  told_on = true;
  EXPECT_GE(timesTold(item), 1);
  EXPECT_FALSE(told_on);
  set(true);
  EXPECT_GE(timesTold(item), 1);
  EXPECT_TRUE(told_on);
}

TEST_F(LoginItemsWatchTest, FolderThatIsMovedAwayIsLeftAndItsSuccessorWatched) {
  set(true);
  talibobjc_LoginItem item = loginItemOf(program);
  ASSERT_EQ(rename(own.c_str(), (own + ".old").c_str()), 0);
  told_on = true;
  EXPECT_GE(timesTold(item), 1);
  EXPECT_FALSE(told_on);
  writeFile(own + ".old/y.desktop", entry(program));
  EXPECT_FALSE(isReadable(item, 100));
  set(true);
  EXPECT_GE(timesTold(item), 1);
  EXPECT_TRUE(told_on);
}

TEST_F(LoginItemsWatchTest, ConfigFolderThatIsMovedAwayIsTold) {
  set(true);
  talibobjc_LoginItem item = loginItemOf(program);
  ASSERT_EQ(rename(home.config().c_str(), (home.root() + "/old").c_str()), 0);
  told_on = true;
  EXPECT_GE(timesTold(item), 1);
  EXPECT_FALSE(told_on);
  ASSERT_EQ(rename((home.root() + "/old").c_str(), home.config().c_str()), 0);
  EXPECT_GE(timesTold(item), 1);
  EXPECT_TRUE(told_on);
}

TEST_F(LoginItemsWatchTest, LinkedFolderIsWatchedAndSoIsTheLink) {
  const std::string real = home.root() + "/dotfiles";
  std::filesystem::create_directory(real);
  std::filesystem::remove(own);
  ASSERT_EQ(symlink(real.c_str(), own.c_str()), 0);
  talibobjc_LoginItem item = loginItemOf(program);
  writeFile(real + "/x.desktop", entry(program));
  EXPECT_EQ(timesTold(item), 1);
  EXPECT_TRUE(told_on);
  ASSERT_EQ(unlink(own.c_str()), 0);
  EXPECT_EQ(timesTold(item), 1);
  EXPECT_FALSE(told_on);
}

TEST_F(LoginItemsWatchTest, TwoObjectsAreBothTold) {
  talibobjc_LoginItem first = loginItemOf(program);
  talibobjc_LoginItem second = loginItemOf(program);
  first.setLaunchAtLogin(true);
  EXPECT_EQ(timesTold(first), 1);
  EXPECT_EQ(timesTold(second), 1);
}

TEST_F(LoginItemsWatchTest, CallbackMayDestroyTheList) {
  auto list = systemLoginItems();
  int told = 0;
  list->setChangeCallback([&] {
    ++told;
    list.reset();
  });
  set(true);
  list->readChanges();
  EXPECT_EQ(told, 1);
}

TEST_F(LoginItemsWatchTest, NobodyNeedsToBeTold) {
  const auto list = systemLoginItems();
  set(true);
  list->readChanges();
  EXPECT_EQ(list->snapshot().size(), 1U);
}

TEST_F(LoginItemsWatchTest, DescriptorDoesNotPassToProgramsStartedFromHere) {
  const auto list = systemLoginItems();
  EXPECT_EQ(fcntl(list->watchDescriptor(), F_GETFD), FD_CLOEXEC);
}

TEST_F(LoginItemsWatchTest, WithoutAWatchTheListStillWorks) {
  rlimit usual{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &usual), 0);
  const rlimit none{0, usual.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  talibobjc_LoginItem item = loginItemOf(program);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &usual), 0);
  EXPECT_EQ(item.loginItems()->watchDescriptor(), -1);
  item.setLaunchAtLogin(true);
  item.loginItems()->readChanges();
  EXPECT_TRUE(item.launchAtLogin());
}

}  // namespace
}  // namespace talvane::test
