// The vault on a disk that fails: what was there stays, and a failure is told as one.

#include <cerrno>
#include <map>

#include "tests/support/end_child.h"
#include "tests/support/failing_call.h"
#include "tests/support/in_child.h"
#include "tests/vault/vault_support.h"

namespace talvane::test {
namespace {

#ifdef SYS_rename
constexpr long rename_call = SYS_rename;
#else
constexpr long rename_call = SYS_renameat;
#endif
#ifdef SYS_link
constexpr long link_call = SYS_link;
#else
constexpr long link_call = SYS_linkat;
#endif

// As `inChild`, where these calls fail.
void withFailing(std::initializer_list<long> calls, int error, const std::function<void()>& work) {
  inChild([&] {
    ASSERT_TRUE(letCallsFail(calls, error)) << "no permission to filter calls";
    work();
  });
}

TEST(VaultFailure, ADiskThatCannotBeReadIsNotTakenForDamageOrAnEmptyVault) {
  const VaultFolder folder;
  folder.fill(2);
  withFailing({SYS_read, SYS_pread64}, EIO, [&] {
    const auto keychain = folder.open();
    EXPECT_EQ(statusOf(*keychain, "token 0"), Status::io_error);
    EXPECT_NE(keychain->message(Status::io_error).find(folder.vault()), std::string::npos);
    EXPECT_EQ(statusOf(*keychain, "token 9"), Status::io_error);
    EXPECT_EQ(keychain->add("token 9", account, secretOf("x")), Status::io_error);
    EXPECT_EQ(keychain->remove("token 0", account), Status::io_error);
    EXPECT_EQ(keychain->beginChange(), Status::io_error);
    EXPECT_EQ(keychain->describe().status, Status::io_error);
  });
  EXPECT_EQ(secretIn(*folder.open(), "token 1"), "secret 1");
}

TEST(VaultFailure, FilesThatCannotBeOpenedNowAreNotTakenForMissing) {
  const VaultFolder folder;
  folder.fill(2);
  for (const int error : {EIO, EMFILE, ENFILE, ENOMEM, EINTR, ESTALE}) {
    SCOPED_TRACE(error);
    withFailing({SYS_openat, SYS_open}, error, [&] {
      const auto keychain = folder.open();
      EXPECT_EQ(statusOf(*keychain, "token 0"), Status::io_error);
      EXPECT_EQ(statusOf(*keychain, "token 9"), Status::io_error);
      EXPECT_EQ(keychain->add("token 9", account, secretOf("x")), Status::io_error);
    });
  }
}

struct FailingStep {
  const char* name;
  long call;
  bool first_only;  // made for a first vault alone
};

const FailingStep steps[] = {{"write", SYS_write, false},
                             {"fchmod", SYS_fchmod, false},
                             {"fsync", SYS_fsync, false},
                             {"rename", rename_call, false},
                             {"link", link_call, true}};

TEST(VaultFailure, AChangeThatFailsLeavesTheOldVault) {
  const std::map<int, Status> statuses{{EIO, Status::io_error},
                                       {ENOSPC, Status::disk_full},
                                       {EDQUOT, Status::disk_full},
                                       {EROFS, Status::write_permission}};
  for (const FailingStep& step : steps) {
    if (step.first_only) continue;
    for (const auto& [error, status] : statuses) {
      SCOPED_TRACE(std::string(step.name) + ' ' + std::to_string(error));
      const VaultFolder folder;
      folder.fill(2);
      const std::string before = readFile(folder.vault());
      // Nothing is written on a terminal or a pipe meanwhile, so the result is the exit code.
      const pid_t child = fork();
      if (child == 0) {
        if (!letCallsFail({step.call}, error)) _exit(1);
        const auto keychain = folder.open();
        if (store(*keychain, "token 1", "new") != status) _exit(2);
        if (keychain->beginChange() != Status::ok) _exit(3);
        if (keychain->remove("token 0", account) != Status::ok) _exit(4);
        if (keychain->endChange() != status) _exit(5);
        if (secretIn(*keychain, "token 0") != "secret 0") _exit(6);
        endChild(0);
      }
      EXPECT_EQ(resultOf(child), 0);
      EXPECT_EQ(readFile(folder.vault()), before);
      EXPECT_EQ(entriesIn(folder.path()), 2U);
    }
  }
}

TEST(VaultFailure, AFirstItemThatFailsLeavesNoVault) {
  for (const FailingStep& step : steps) {
    SCOPED_TRACE(step.name);
    const VaultFolder folder;
    const pid_t child = fork();
    if (child == 0) {
      if (!letCallsFail({step.call}, ENOSPC)) _exit(1);
      endChild(store(*folder.open(), "token", "x") == Status::disk_full ? 0 : 2);
    }
    EXPECT_EQ(resultOf(child), 0);
    EXPECT_FALSE(exists(folder.vault()));
    EXPECT_EQ(statusOf(*folder.open(), "token"), Status::item_not_found);
    EXPECT_EQ(store(*folder.open(), "token", "x"), Status::ok);
    EXPECT_EQ(secretIn(*folder.open(), "token"), "x");
    EXPECT_EQ(entriesIn(folder.path()), 2U);
  }
}

TEST(VaultFailure, AFileSystemWithoutHardLinksWillDo) {
  const VaultFolder folder;
  withFailing({link_call}, EPERM, [&] { folder.fill(1); });
  EXPECT_EQ(secretIn(*folder.open(), "token 0"), "secret 0");
  EXPECT_EQ(entriesIn(folder.path()), 2U);
}

// As NFS, which locks no folder; whoever changes the store holds the store's lock as well.
TEST(VaultFailure, AFileSystemThatLocksNoFolderWillDo) {
  const VaultFolder folder;
  withFailing({SYS_flock}, EBADF, [&] {
    folder.fill(2);
    writeFile(folder.path() + "/vault.draft-abcdef", "perhaps another process is writing it");
    EXPECT_EQ(store(*folder.open(), "token 0", "new"), Status::ok);
  });
  EXPECT_EQ(secretIn(*folder.open(), "token 0"), "new");
  EXPECT_TRUE(exists(folder.path() + "/vault.draft-abcdef"));
}

}  // namespace
}  // namespace talvane::test
