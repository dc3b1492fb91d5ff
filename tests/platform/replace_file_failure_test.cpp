// A file whose replacement breaks off at one call of the system.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cerrno>

#include "platform/replace_file.h"
#include "tests/support/failing_call.h"
#include "tests/support/in_child.h"
#include "tests/support/temporary_folder.h"

namespace talvane::test {
namespace {

TEST(ReplaceFileFailure, OldFileStaysAndNoDraft) {
  struct Failing {
    long call;
    int error;
  };
  for (const Failing& failing : {Failing{SYS_write, ENOSPC}, Failing{SYS_fchmod, EPERM},
                                 Failing{SYS_fsync, EIO}, Failing{SYS_rename, EXDEV}}) {
    const TemporaryFolder folder;
    writeFile(folder / "file", "old");
    inChild([&] {
      ASSERT_TRUE(letCallsFail({failing.call}, failing.error));
      EXPECT_EQ(replaceFile(folder / "file", "new"), failing.error);
    });
    EXPECT_EQ(readFile(folder / "file"), "old") << failing.call;
    EXPECT_EQ(entriesIn(folder.path()), 1U) << failing.call;
  }
}

TEST(CreateFileFailure, WithoutHardLinksItIsRenamed) {
  for (const int error : {EPERM, ENOTSUP, ENOSYS}) {
    const TemporaryFolder folder;
    writeFile(folder / "taken", "old");
    inChild([&] {
      ASSERT_TRUE(letCallsFail({SYS_link, SYS_linkat}, error));
      EXPECT_EQ(createFile(folder / "file", "new"), 0);
      EXPECT_EQ(createFile(folder / "taken", "new"), EEXIST);
    });
    EXPECT_EQ(readFile(folder / "file"), "new");
    EXPECT_EQ(readFile(folder / "taken"), "old");
    EXPECT_EQ(entriesIn(folder.path()), 2U);
  }
}

TEST(CreateFileFailure, SaysWhyNot) {
  const TemporaryFolder folder;
  inChild([&] {
    ASSERT_TRUE(letCallsFail({SYS_link, SYS_linkat}, EDQUOT));
    EXPECT_EQ(createFile(folder / "file", "new"), EDQUOT);
  });
  inChild([&] {
    ASSERT_TRUE(letCallsFail({SYS_link, SYS_linkat, SYS_rename}, EPERM));
    EXPECT_EQ(createFile(folder / "file", "new"), EPERM);
  });
  EXPECT_EQ(entriesIn(folder.path()), 0U);
}

}  // namespace
}  // namespace talvane::test
