#include "platform/file_descriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <utility>

namespace talvane {
namespace {

FileDescriptor opened() {
  return FileDescriptor(open("/dev/null", O_RDONLY | O_CLOEXEC));
}

bool isOpen(int number) {
  return fcntl(number, F_GETFD) >= 0;
}

TEST(FileDescriptor, ClosesAtTheEndOfTheScope) {
  int number = -1;
  {
    const FileDescriptor file = opened();
    ASSERT_TRUE(file.isOpen());
    number = file.get();
    EXPECT_TRUE(isOpen(number));
  }
  EXPECT_FALSE(isOpen(number));
}

TEST(FileDescriptor, FailedOpenIsNone) {
  FileDescriptor file(open("/nowhere/at/all", O_RDONLY | O_CLOEXEC));
  EXPECT_FALSE(file.isOpen());
  EXPECT_LT(file.get(), 0);
  EXPECT_EQ(file.close(), 0);
}

TEST(FileDescriptor, MovesWithoutClosing) {
  FileDescriptor first = opened();
  const int number = first.get();
  const FileDescriptor second = std::move(first);
  EXPECT_EQ(second.get(), number);
  EXPECT_TRUE(isOpen(number));
}

TEST(FileDescriptor, ReleasedOneStaysOpen) {
  int number = -1;
  {
    FileDescriptor file = opened();
    number = file.release();
    EXPECT_FALSE(file.isOpen());
  }
  EXPECT_TRUE(isOpen(number));
  EXPECT_EQ(close(number), 0);
}

TEST(FileDescriptor, CloseTellsWhatWentWrong) {
  FileDescriptor file = opened();
  ASSERT_EQ(::close(file.get()), 0);
  EXPECT_EQ(file.close(), EBADF);
  EXPECT_FALSE(file.isOpen());
}

}  // namespace
}  // namespace talvane
