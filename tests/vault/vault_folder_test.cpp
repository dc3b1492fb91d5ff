// The vault in folders that cannot be written to, and on full disks.

#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>

#include "tests/vault/neighbour.h"

namespace talvane::test {
namespace {

TEST(VaultDisk, AReadOnlyFolderCanBeRead) {
  const VaultFolder folder;
  folder.fill(2);
  asOrdinaryUser(folder.base(), [&] {
    ASSERT_EQ(chmod(folder.path().c_str(), 0500), 0);
    const auto keychain = folder.open();
    EXPECT_EQ(secretIn(*keychain, "token 1"), "secret 1");
    EXPECT_EQ(statusOf(*keychain, "token 2"), Status::item_not_found);
    EXPECT_EQ(keychain->describe().status, Status::ok);
    EXPECT_EQ(store(*keychain, "token 2", "x"), Status::write_permission);
    EXPECT_EQ(keychain->beginChange(), Status::write_permission);
    EXPECT_EQ(keychain->remove("token 0", account), Status::write_permission);
    EXPECT_EQ(keychain->replace("token 0", account, secretOf("x")), Status::write_permission);
    EXPECT_EQ(secretIn(*keychain, "token 0"), "secret 0");
    ASSERT_EQ(chmod(folder.path().c_str(), 0700), 0);
    EXPECT_EQ(store(*keychain, "token 2", "x"), Status::ok);
  });
}

TEST(VaultDisk, ReadOnlyFilesCanBeRead) {
  const VaultFolder folder;
  folder.fill(2);
  asOrdinaryUser(folder.base(), [&] {
    ASSERT_EQ(chmod(folder.database().c_str(), 0400), 0);
    const auto keychain = folder.open();
    EXPECT_EQ(secretIn(*keychain, "token 1"), "secret 1");
    EXPECT_EQ(store(*keychain, "token 2", "x"), Status::write_permission);
    EXPECT_EQ(secretIn(*keychain, "token 0"), "secret 0");
  });
}

TEST(VaultDisk, AReadOnlyFolderWithALogCanBeReadWhenItsIndexIsThere) {
  const VaultFolder folder;
  fillWithLog(folder);
  asOrdinaryUser(folder.base(), [&] {
    ASSERT_EQ(chmod(folder.path().c_str(), 0500), 0);
    EXPECT_EQ(secretIn(*folder.open(), "token 1"), "in the log");
    // Without it the log cannot be read, and nothing else is claimed.
    ASSERT_EQ(chmod(folder.path().c_str(), 0700), 0);
    std::filesystem::remove(folder.index());
    ASSERT_EQ(chmod(folder.path().c_str(), 0500), 0);
    const auto keychain = folder.open();
    EXPECT_EQ(statusOf(*keychain, "token 1"), Status::io_error);
    EXPECT_NE(keychain->message(Status::io_error).find("make the folder"), std::string::npos);
    ASSERT_EQ(chmod(folder.path().c_str(), 0700), 0);
    EXPECT_EQ(secretIn(*folder.open(), "token 1"), "in the log");
  });
}

TEST(VaultDisk, AFolderThatCannotBeMadeIsNoPermission) {
  const VaultFolder folder;
  asOrdinaryUser(folder.base(), [&] {
    ASSERT_EQ(chmod(folder.base().c_str(), 0500), 0);
    EXPECT_EQ(store(*folder.open(), "token", "x"), Status::write_permission);
    EXPECT_EQ(statusOf(*folder.open(), "token"), Status::item_not_found);
    ASSERT_EQ(chmod(folder.base().c_str(), 0700), 0);
  });
}

TEST(VaultDisk, AnotherUsersVaultIsNotAvailable) {
  const VaultFolder folder;
  folder.fill(1);
  asOrdinaryUser(folder.base(), [&] {
    for (const std::string& path : {folder.path(), folder.database(), folder.key()}) {
      const int mode = modeOf(path);
      ASSERT_EQ(chmod(path.c_str(), 0), 0);
      const auto keychain = folder.open();
      EXPECT_EQ(statusOf(*keychain, "token 0"), Status::not_available);
      EXPECT_EQ(keychain->describe().status, Status::not_available);
      EXPECT_NE(store(*keychain, "token 1", "x"), Status::ok);
      ASSERT_EQ(chmod(path.c_str(), static_cast<mode_t>(mode)), 0);
    }
    EXPECT_EQ(secretIn(*folder.open(), "token 0"), "secret 0");
  });
}

TEST(VaultDisk, AFileInTheFoldersPlaceIsNotAvailable) {
  const VaultFolder folder;
  writeFile(folder.path(), "not a folder");
  const auto keychain = folder.open();
  EXPECT_EQ(statusOf(*keychain, "token"), Status::not_available);
  EXPECT_EQ(store(*keychain, "token", "x"), Status::not_available);
  EXPECT_EQ(readFile(folder.path()), "not a folder");
}

void limitFileSize(rlim_t size) {
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  limit.rlim_cur = size;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

// As a full disk: no file may grow beyond the limit.
TEST(VaultDisk, WithoutRoomTheOldContentStays) {
  const VaultFolder folder;
  folder.fill(4);
  inChild([&] {
    const std::string large(20000, 'x');
    int refused = 0;
    for (rlim_t limit = 0; limit <= 80 * 1024; limit += limit < 64 ? 16 : 2048 + 17) {
      SCOPED_TRACE(limit);
      const auto keychain = folder.open();
      limitFileSize(limit);
      const Status status = keychain->replace("token 1", account, secretOf(large));
      limitFileSize(RLIM_INFINITY);
      if (status == Status::ok) {
        EXPECT_EQ(secretIn(*keychain, "token 1"), large);
      } else {
        ++refused;
        EXPECT_EQ(status, Status::disk_full) << keychain->message(status);
        EXPECT_EQ(secretIn(*keychain, "token 1"), "secret 1");
      }
      EXPECT_EQ(secretIn(*keychain, "token 0"), "secret 0");
      EXPECT_EQ(secretIn(*keychain, "token 3"), "secret 3");
      EXPECT_EQ(store(*keychain, "token 1", "secret 1"), Status::ok);
    }
    EXPECT_GT(refused, 10);
  });
}

TEST(VaultDisk, WithoutRoomChangesTogetherAreAllUndone) {
  const VaultFolder folder;
  folder.fill(4);
  inChild([&] {
    const auto keychain = folder.open();
    ASSERT_EQ(keychain->beginChange(), Status::ok);
    ASSERT_EQ(store(*keychain, "token 0", "newer"), Status::ok);
    limitFileSize(4096);
    const Status status = store(*keychain, "token 1", std::string(20000, 'x'));
    const Status end = keychain->endChange();
    EXPECT_TRUE(status == Status::ok || status == Status::disk_full);
    EXPECT_EQ(end, Status::disk_full) << keychain->message(end);
    limitFileSize(RLIM_INFINITY);
    EXPECT_EQ(secretIn(*keychain, "token 0"), "secret 0");
    EXPECT_EQ(secretIn(*keychain, "token 1"), "secret 1");
  });
}

TEST(VaultDisk, WithoutRoomNoHalfVaultIsMade) {
  for (const rlim_t limit : {0U, 1U, 31U, 32U, 33U, 100U, 4096U, 8191U, 12287U}) {
    SCOPED_TRACE(limit);
    const VaultFolder folder;
    inChild([&] {
      const auto keychain = folder.open();
      limitFileSize(limit);
      EXPECT_EQ(store(*keychain, "token", "x"), Status::disk_full);
      limitFileSize(RLIM_INFINITY);
      EXPECT_EQ(statusOf(*keychain, "token"), Status::item_not_found);
      EXPECT_EQ(store(*keychain, "token", "x"), Status::ok);
      EXPECT_EQ(secretIn(*keychain, "token"), "x");
      EXPECT_EQ(entriesIn(folder.path()), 2U);
    });
  }
}

// Gives the calling process mounts of its own, which end with it.
bool getOwnMounts() {
  return unshare(CLONE_NEWNS) == 0 &&
         mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

bool mayMount() {
  const TemporaryFolder folder;
  const pid_t child = fork();
  if (child == 0) {
    const bool mounted =
        getOwnMounts() && mount("tmpfs", folder.path().c_str(), "tmpfs", 0, "size=64k") == 0;
    _exit(mounted ? 0 : 1);
  }
  return resultOf(child) == 0;
}

TEST(VaultDisk, OnAFullDiskTheOldContentStays) {
  if (!mayMount()) GTEST_SKIP() << "no permission to mount";
  const TemporaryFolder base;
  inChild([&] {
    ASSERT_TRUE(getOwnMounts());
    ASSERT_EQ(mount("tmpfs", base.path().c_str(), "tmpfs", 0, "size=256k"), 0);
    const auto keychain = makeVaultKeychain(base / "data");
    ASSERT_EQ(store(*keychain, "token", "old"), Status::ok);
    for (const std::size_t left : {0U, 1U, 2U, 4U, 6U, 8U, 9U, 10U, 12U, 14U, 16U}) {
      SCOPED_TRACE(left);
      const std::size_t free = std::filesystem::space(base.path()).available;
      writeFile(base / "filler", std::string(free - left * 4096, 'x'));
      const Status status = store(*keychain, "token", std::string(20000, 'n'));
      if (status == Status::ok) {
        EXPECT_GE(left, 8U);
      } else {
        EXPECT_EQ(status, Status::disk_full) << keychain->message(status);
      }
      std::filesystem::remove(base / "filler");
      EXPECT_EQ(secretIn(*keychain, "token"),
                status == Status::ok ? std::string(20000, 'n') : "old");
      ASSERT_EQ(store(*keychain, "token", "old"), Status::ok);
    }
  });
}

TEST(VaultDisk, OnAReadOnlyDiskItemsAreRead) {
  if (!mayMount()) GTEST_SKIP() << "no permission to mount";
  const VaultFolder folder;
  folder.fill(1);
  inChild([&] {
    const char* path = folder.path().c_str();
    ASSERT_TRUE(getOwnMounts());
    ASSERT_EQ(mount(path, path, nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(mount(nullptr, path, nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
    const auto keychain = folder.open();
    EXPECT_EQ(secretIn(*keychain, "token 0"), "secret 0");
    EXPECT_EQ(store(*keychain, "token 0", "x"), Status::write_permission)
        << keychain->message(Status::io_error);
    EXPECT_EQ(secretIn(*keychain, "token 0"), "secret 0");
  });
}

}  // namespace
}  // namespace talvane::test
