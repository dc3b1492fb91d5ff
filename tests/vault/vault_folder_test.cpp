// The vault in folders that cannot be written to, and on full disks.

#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>

#include "tests/support/end_child.h"
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
    ASSERT_EQ(chmod(folder.vault().c_str(), 0400), 0);
    const auto keychain = folder.open();
    EXPECT_EQ(secretIn(*keychain, "token 1"), "secret 1");
    EXPECT_EQ(store(*keychain, "token 2", "x"), Status::write_permission);
    EXPECT_EQ(secretIn(*keychain, "token 0"), "secret 0");
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
    for (const std::string& path : {folder.path(), folder.vault(), folder.key()}) {
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

TEST(VaultDisk, WhatAnotherUserOwnsIsRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "no permission to give files away";
  const VaultFolder folder;
  folder.fill(1);
  for (const std::string& path : {folder.path(), folder.vault(), folder.key()}) {
    SCOPED_TRACE(path);
    const std::string before = readFile(folder.vault());
    ASSERT_EQ(chown(path.c_str(), nobody, nobody), 0);
    const auto keychain = folder.open();
    EXPECT_EQ(statusOf(*keychain, "token 0"), Status::not_available);
    const std::string words = keychain->message(Status::not_available);
    EXPECT_NE(words.find("Cannot use " + path + " (it belongs to another user)"), std::string::npos)
        << words;
    EXPECT_EQ(statusOf(*keychain, "token 9"), Status::not_available);
    EXPECT_EQ(keychain->beginChange(), Status::not_available);
    EXPECT_EQ(store(*keychain, "token 1", "x"), Status::not_available);
    EXPECT_EQ(keychain->remove("token 0", account), Status::not_available);
    EXPECT_EQ(keychain->describe().status, Status::not_available);
    ASSERT_EQ(chown(path.c_str(), 0, 0), 0);
    EXPECT_EQ(readFile(folder.vault()), before);
  }
  EXPECT_EQ(secretIn(*folder.open(), "token 0"), "secret 0");
}

TEST(VaultDisk, AFolderMayBeGivenWithSlashesAtItsEnd) {
  const VaultFolder folder;
  folder.fill(1);
  const auto keychain = makeVaultKeychain(folder.path() + "//");
  EXPECT_EQ(secretIn(*keychain, "token 0"), "secret 0");
  EXPECT_EQ(keychain->describe().location, folder.open()->describe().location);
}

TEST(VaultDisk, AChangeWithinAChangeIsRefused) {
  const VaultFolder folder;
  const auto keychain = folder.open();
  ASSERT_EQ(keychain->beginChange(), Status::ok);
  EXPECT_EQ(keychain->beginChange(), Status::io_error);
  EXPECT_EQ(keychain->message(Status::io_error),
            "The keychain " + folder.vault() +
                " is in the middle of another change; try again when it is done");
  EXPECT_EQ(store(*keychain, "token", "x"), Status::ok);
  EXPECT_EQ(keychain->endChange(), Status::ok);
  EXPECT_EQ(secretIn(*folder.open(), "token"), "x");
}

TEST(VaultDisk, AnotherUsersEmptyFolderIsRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "no permission to give files away";
  const VaultFolder folder;
  std::filesystem::create_directory(folder.path());
  ASSERT_EQ(chown(folder.path().c_str(), nobody, nobody), 0);
  EXPECT_EQ(statusOf(*folder.open(), "token"), Status::not_available);
  EXPECT_EQ(store(*folder.open(), "token", "x"), Status::not_available);
  EXPECT_EQ(entriesIn(folder.path()), 0U);
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
    for (rlim_t limit = 0; limit <= 24 * 1024; limit += limit < 64 ? 16 : 1024 + 17) {
      SCOPED_TRACE(limit);
      const auto keychain = folder.open();
      limitFileSize(limit);
      const std::string before = readFile(folder.vault());
      const Status status = keychain->replace("token 1", account, secretOf(large));
      limitFileSize(RLIM_INFINITY);
      if (status == Status::ok) {
        EXPECT_EQ(secretIn(*keychain, "token 1"), large);
      } else {
        ++refused;
        EXPECT_EQ(status, Status::disk_full) << keychain->message(status);
        EXPECT_EQ(readFile(folder.vault()), before);
      }
      EXPECT_EQ(entriesIn(folder.path()), 2U);
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
    EXPECT_EQ(store(*keychain, "token 1", std::string(20000, 'x')), Status::ok);
    const Status end = keychain->endChange();
    EXPECT_EQ(end, Status::disk_full) << keychain->message(end);
    limitFileSize(RLIM_INFINITY);
    EXPECT_EQ(secretIn(*keychain, "token 0"), "secret 0");
    EXPECT_EQ(secretIn(*keychain, "token 1"), "secret 1");
  });
}

TEST(VaultDisk, WithoutRoomNoHalfVaultIsMade) {
  // The key takes 32 bytes, the vault 75.
  for (const rlim_t limit : {0U, 1U, 31U, 32U, 33U, 74U}) {
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
    endChild(mounted ? 0 : 1);
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
    for (std::size_t left = 0; left < 8; ++left) {
      SCOPED_TRACE(left);
      const std::string before = readFile(base / "data/vault");
      const std::size_t free = std::filesystem::space(base.path()).available;
      writeFile(base / "filler", std::string(free - left * 4096, 'x'));
      // Of 20 kB, which take five pages beside the old file's.
      const Status status = store(*keychain, "token", std::string(20000, 'n'));
      EXPECT_EQ(status, left < 5 ? Status::disk_full : Status::ok) << keychain->message(status);
      if (status != Status::ok) {
        EXPECT_EQ(readFile(base / "data/vault"), before);
      }
      std::filesystem::remove(base / "filler");
      EXPECT_EQ(secretIn(*keychain, "token"),
                status == Status::ok ? std::string(20000, 'n') : "old");
      EXPECT_EQ(entriesIn(base / "data"), 2U);
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
