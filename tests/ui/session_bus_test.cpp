#include "ui/desktop/session_bus.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "tests/support/private_home.h"

namespace talvane {
namespace {

using namespace std::chrono_literals;

/// A socket in the place of a bus.
class SessionBusTest : public testing::Test {
 protected:
  SessionBusTest() {
    environment.unset("DBUS_SESSION_BUS_ADDRESS");
    environment.unset("NO_AT_BRIDGE");
    environment.unset("AT_SPI_BUS_ADDRESS");
  }
  ~SessionBusTest() override {
    if (server.joinable()) server.join();
    if (listener >= 0) close(listener);
  }

  /// A leading NUL makes an abstract name.
  void listenAt(const std::string& name) {
    sockaddr_un there{};
    there.sun_family = AF_UNIX;
    std::memcpy(there.sun_path, name.data(), name.size());
    listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const void* place = &there;
    ASSERT_EQ(bind(listener, static_cast<const sockaddr*>(place),
                   static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size())),
              0);
    ASSERT_EQ(listen(listener, 1), 0);
  }
  /// Answers the first client so, once it has heard it.
  void answer(const std::string& words) {
    server = std::thread([this, words] {
      const int client = accept(listener, nullptr, nullptr);
      char piece[256];
      const ssize_t length = read(client, piece, sizeof(piece));
      if (length > 0) heard.assign(piece, static_cast<std::size_t>(length));
      EXPECT_EQ(write(client, words.data(), words.size()), static_cast<ssize_t>(words.size()));
      close(client);
    });
  }

  test::PrivateHome home;
  test::Environment& environment = home.environment;
  std::string path = home.runtime() + "/bus";
  std::string address = "unix:path=" + path;
  int listener = -1;
  std::thread server;
  std::string heard;
};

TEST_F(SessionBusTest, BusThatAnswers) {
  listenAt(path);
  answer("OK 1234\r\n");
  EXPECT_EQ(stateOfBus(address, 20s), BusState::answers);
  server.join();
  // D-Bus specification, "Authentication examples".
  std::string hex;
  for (const char digit : std::to_string(getuid())) hex += std::string("3") + digit;
  EXPECT_EQ(heard, std::string(1, '\0') + "AUTH EXTERNAL " + hex + "\r\n");
}

TEST_F(SessionBusTest, BusThatSaysNothing) {
  listenAt(path);
  EXPECT_EQ(stateOfBus(address, 100ms), BusState::silent);
}

TEST_F(SessionBusTest, BusWhoseQueueIsFull) {
  listenAt(path);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(stateOfBus(address, 10ms), BusState::silent);
}

TEST_F(SessionBusTest, NothingListens) {
  EXPECT_EQ(stateOfBus(address, 20s), BusState::unknown);
  listenAt(path);
  close(listener);
  listener = -1;
  EXPECT_EQ(stateOfBus(address, 20s), BusState::unknown);
}

TEST_F(SessionBusTest, AddressesOfOtherKinds) {
  for (const char* other : {"tcp:host=127.0.0.1,port=1", "nonsense", "unix:", "unix:tmpdir=/tmp",
                            "autolaunch:", "unix:path=", "unix:path"}) {
    EXPECT_EQ(stateOfBus(other, 20s), BusState::unknown) << other;
  }
  EXPECT_EQ(stateOfBus("unix:path=/" + std::string(200, 'x'), 20s), BusState::unknown);
}

TEST_F(SessionBusTest, AddressWithMoreInIt) {
  listenAt(home.runtime() + "/a,b");
  EXPECT_EQ(stateOfBus("unix:guid=12,path=" + home.runtime() + "/a%2cb,x=y;tcp:host=x", 50ms),
            BusState::silent);
}

TEST_F(SessionBusTest, AbstractAddress) {
  const std::string name = home.runtime() + "-abstract";
  listenAt('\0' + name);
  EXPECT_EQ(stateOfBus("unix:abstract=" + name, 50ms), BusState::silent);
  EXPECT_EQ(stateOfBus("unix:path=" + name, 50ms), BusState::unknown);
}

TEST_F(SessionBusTest, WithoutAnAddressItIsInTheRuntimeFolder) {
  EXPECT_EQ(stateOfBus("", 20s), BusState::unknown);
  listenAt(path);
  EXPECT_EQ(stateOfBus("", 50ms), BusState::silent);
}

TEST_F(SessionBusTest, SilentBusIsHiddenFromTheToolkitAndFoundAgain) {
  listenAt(path);
  environment.set("DBUS_SESSION_BUS_ADDRESS", address);
  {
    const SilentBusGuard guard(50ms);
    EXPECT_EQ(stateOfBus(std::getenv("DBUS_SESSION_BUS_ADDRESS"), 20s), BusState::unknown);
    EXPECT_STREQ(std::getenv("NO_AT_BRIDGE"), "1");
  }
  EXPECT_EQ(std::getenv("DBUS_SESSION_BUS_ADDRESS"), address);
  EXPECT_EQ(std::getenv("NO_AT_BRIDGE"), nullptr);
}

TEST_F(SessionBusTest, OtherBusesStay) {
  environment.set("DBUS_SESSION_BUS_ADDRESS", address);
  const SilentBusGuard guard(50ms);
  EXPECT_EQ(std::getenv("DBUS_SESSION_BUS_ADDRESS"), address);
}

}  // namespace
}  // namespace talvane
