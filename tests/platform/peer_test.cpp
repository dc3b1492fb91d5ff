// Who is at the other end of a local socket. Another user takes part where root runs the tests.

#include "platform/peer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "platform/file_descriptor.h"
#include "tests/support/in_child.h"
#include "tests/support/temporary_folder.h"

namespace talvane::test {
namespace {

class PeerTest : public testing::Test {
 protected:
  PeerTest() : listening_(socket(AF_UNIX, SOCK_STREAM, 0)) {
    address_.sun_family = AF_UNIX;
    const std::string path = folder_ / "socket";
    std::memcpy(address_.sun_path, path.c_str(), path.size() + 1);
    EXPECT_EQ(bind(listening_.get(), address(), sizeof address_), 0);
  }
  void listenHere() { ASSERT_EQ(listen(listening_.get(), 1), 0); }

  const sockaddr* address() { return reinterpret_cast<const sockaddr*>(&address_); }
  [[nodiscard]] FileDescriptor connected() {
    FileDescriptor end(socket(AF_UNIX, SOCK_STREAM, 0));
    EXPECT_EQ(connect(end.get(), address(), sizeof address_), 0);
    return end;
  }

  TemporaryFolder folder_;
  sockaddr_un address_{};
  FileDescriptor listening_;
};

TEST_F(PeerTest, ThisUser) {
  listenHere();
  const FileDescriptor mine = connected();
  const FileDescriptor accepted(accept(listening_.get(), nullptr, nullptr));
  EXPECT_TRUE(peerIsThisUser(mine.get()));
  EXPECT_TRUE(peerIsThisUser(accepted.get()));
}

TEST_F(PeerTest, AnotherUserIsNotThisOne) {
  if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
  listenHere();
  asOrdinaryUser(folder_.path(), [&] {
    const FileDescriptor theirs = connected();
    EXPECT_FALSE(peerIsThisUser(theirs.get())) << "root listens";
  });
  const FileDescriptor accepted(accept(listening_.get(), nullptr, nullptr));
  EXPECT_FALSE(peerIsThisUser(accepted.get()));
}

TEST_F(PeerTest, WhatIsNoSocketIsNobody) {
  const FileDescriptor null(open("/dev/null", O_RDONLY));
  EXPECT_FALSE(peerIsThisUser(null.get()));
  EXPECT_FALSE(peerIsThisUser(-1));
}

}  // namespace
}  // namespace talvane::test
