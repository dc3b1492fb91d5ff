// Another user takes part where root runs the tests.

#include "ui/desktop/instance_channel.h"

#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTest>
#include <atomic>
#include <csignal>
#include <cstring>
#include <thread>
#include <vector>

#include "platform/file_descriptor.h"
#include "platform/running_program.h"
#include "tests/support/in_child.h"
#include "tests/support/private_home.h"

namespace talvane {
namespace {

using test::exists;
using test::modeOf;

class InstanceChannelTest : public testing::Test {
 protected:
  // As the program does.
  InstanceChannelTest() { std::signal(SIGPIPE, SIG_IGN); }

  /// Listens, and notes what comes.
  void listen(InstanceChannel& channel) {
    channel.received = [this](const QString& request) { received.push_back(request); };
    channel.listen();
  }

  /// What `send` of a channel of another program comes to, while the events go on here.
  bool sent(const QString& request, const std::string& display = "") {
    std::atomic<bool> done = false;
    bool result = false;
    std::thread other([&] {
      const InstanceChannel channel(display);
      result = channel.send(request);
      done = true;
    });
    EXPECT_TRUE(QTest::qWaitFor([&done] { return done.load(); }, 10'000));
    other.join();
    QCoreApplication::processEvents();
    return result;
  }

  [[nodiscard]] std::string folder() const { return home.runtime() + "/softtoken"; }
  [[nodiscard]] std::string socketPath() const { return folder() + "/instance.socket"; }
  [[nodiscard]] std::string lockPath() const { return folder() + "/instance.lock"; }

  /// A connection as a program of its own makes it.
  [[nodiscard]] int connection() const {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socketPath().c_str(), sizeof(address.sun_path) - 1);
    const int other = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(connect(other, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    return other;
  }

  test::PrivateHome home;
  std::vector<QString> received;
};

using Requests = std::vector<QString>;

TEST_F(InstanceChannelTest, OneIsFirstAndTheOtherIsNot) {
  InstanceChannel first("");
  InstanceChannel second("");
  EXPECT_TRUE(first.becomeFirst());
  EXPECT_EQ(first.error(), "");
  EXPECT_FALSE(second.becomeFirst());
  EXPECT_EQ(second.error(), "");
}

TEST_F(InstanceChannelTest, RequestIsDelivered) {
  InstanceChannel first("");
  ASSERT_TRUE(first.becomeFirst());
  listen(first);
  EXPECT_TRUE(sent(QStringLiteral("toggle")));
  EXPECT_EQ(received, (Requests{QStringLiteral("toggle")}));
}

TEST_F(InstanceChannelTest, RequestsComeInOrderAndWhole) {
  InstanceChannel first("");
  ASSERT_TRUE(first.becomeFirst());
  listen(first);
  const QString link = QStringLiteral("open otpauth://totp/B\u00fcro?secret=ABC&display=a b\n") +
                       QString(4090, QLatin1Char('x'));
  EXPECT_TRUE(sent(QStringLiteral("start")));
  EXPECT_TRUE(sent(link));
  EXPECT_EQ(received, (Requests{QStringLiteral("start"), link}));
}

TEST_F(InstanceChannelTest, RequestBeforeListeningIsNotLost) {
  InstanceChannel first("");
  ASSERT_TRUE(first.becomeFirst());
  const int other = connection();
  ASSERT_EQ(write(other, "quit", 4), 4);
  close(other);
  listen(first);
  EXPECT_TRUE(QTest::qWaitFor([this] { return !received.empty(); }, 5000));
  EXPECT_EQ(received, (Requests{QStringLiteral("quit")}));
}

TEST_F(InstanceChannelTest, DisplaysAreApart) {
  InstanceChannel one(":0");
  InstanceChannel two(":1");
  EXPECT_TRUE(one.becomeFirst());
  EXPECT_TRUE(two.becomeFirst());
  listen(two);
  EXPECT_TRUE(sent(QStringLiteral("toggle"), ":1"));
  EXPECT_EQ(received.size(), 1U);
}

TEST_F(InstanceChannelTest, PlaceIsFreeAfterTheFirst) {
  {
    InstanceChannel first("");
    ASSERT_TRUE(first.becomeFirst());
    EXPECT_TRUE(exists(socketPath()));
  }
  EXPECT_FALSE(exists(socketPath()));
  InstanceChannel second("");
  EXPECT_TRUE(second.becomeFirst());
}

TEST_F(InstanceChannelTest, NobodyElseMayReachIt) {
  InstanceChannel first("");
  ASSERT_TRUE(first.becomeFirst());
  EXPECT_EQ(modeOf(folder()), 0700);
  EXPECT_EQ(modeOf(socketPath()), 0700);
  EXPECT_EQ(modeOf(lockPath()), 0600);
}

TEST_F(InstanceChannelTest, WhatAKilledProgramLeftIsTakenOver) {
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t child = fork();
  if (child == 0) {
    alarm(20);
    auto* first = new InstanceChannel("");
    const char answer = first->becomeFirst() ? '1' : '0';
    if (write(ready[1], &answer, 1) != 1) _exit(1);
    for (;;) pause();
  }
  ASSERT_GT(child, 0);
  close(ready[1]);
  char answer = 0;
  ASSERT_EQ(read(ready[0], &answer, 1), 1);
  close(ready[0]);
  EXPECT_EQ(answer, '1');
  {
    InstanceChannel second("");
    EXPECT_FALSE(second.becomeFirst());
    EXPECT_EQ(second.error(), "");
  }
  kill(child, SIGKILL);
  ASSERT_EQ(waitpid(child, nullptr, 0), child);
  EXPECT_TRUE(exists(socketPath()));
  EXPECT_TRUE(exists(lockPath()));

  InstanceChannel next("");
  EXPECT_TRUE(next.becomeFirst());
  listen(next);
  EXPECT_TRUE(sent(QStringLiteral("toggle")));
  EXPECT_EQ(received.size(), 1U);
}

TEST_F(InstanceChannelTest, SendingToNobodyFails) {
  EXPECT_FALSE(InstanceChannel("").send(QStringLiteral("toggle")));
}

TEST_F(InstanceChannelTest, FirstThatDoesNotAnswerIsNotWaitedForLong) {
  InstanceChannel first("");
  ASSERT_TRUE(first.becomeFirst());  // and never listens
  QElapsedTimer timer;
  timer.start();
  EXPECT_FALSE(InstanceChannel("").send(QStringLiteral("toggle")));
  EXPECT_LT(timer.elapsed(), 5000);
}

TEST_F(InstanceChannelTest, PathThatIsTooLongIsTold) {
  const std::string path = home.runtime() + "/" + std::string(120, 'x');
  home.environment.set("XDG_RUNTIME_DIR", path);
  InstanceChannel channel("");
  EXPECT_FALSE(channel.becomeFirst());
  EXPECT_EQ(channel.error(),
            "The path " + path +
                "/softtoken/instance.socket is too long; set XDG_RUNTIME_DIR to a shorter one");
  EXPECT_FALSE(channel.send(QStringLiteral("toggle")));
}

TEST_F(InstanceChannelTest, FolderThatCannotBeMadeIsTold) {
  const std::string file = home.runtime() + "/file";
  test::writeFile(file, "");
  home.environment.set("XDG_RUNTIME_DIR", file);
  InstanceChannel channel("");
  EXPECT_FALSE(channel.becomeFirst());
  EXPECT_TRUE(channel.error().starts_with("Cannot create the folder " + file + "/softtoken ("))
      << channel.error();
}

TEST_F(InstanceChannelTest, FolderOfAnotherUserIsRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
  std::filesystem::create_directory(folder());
  ASSERT_EQ(chown(folder().c_str(), test::nobody, test::nobody), 0);
  InstanceChannel channel("");
  EXPECT_FALSE(channel.becomeFirst());
  EXPECT_TRUE(channel.error().starts_with("The folder " + folder() + " does not belong to you"))
      << channel.error();
  EXPECT_FALSE(exists(lockPath()));
}

TEST_F(InstanceChannelTest, ProgramOfAnotherUserGetsNoLink) {
  if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
  std::filesystem::create_directory(folder());
  const FileDescriptor listening(socket(AF_UNIX, SOCK_STREAM, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = folder() + "/instance.socket";
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  ASSERT_EQ(bind(listening.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  const pid_t other = fork();
  if (other == 0) {
    char byte = 0;
    if (setuid(test::nobody) != 0 || ::listen(listening.get(), 1) != 0) _exit(2);
    const int connection = accept(listening.get(), nullptr, nullptr);
    _exit(read(connection, &byte, 1) == 0 ? 0 : 1);
  }
  EXPECT_FALSE(InstanceChannel("").send(QStringLiteral("open otpauth://totp/a?secret=A")));
  EXPECT_EQ(test::resultOf(other), 0) << "1: it was sent something";
}

TEST_F(InstanceChannelTest, LockThatCannotBeOpenedIsTold) {
  std::filesystem::create_directories(lockPath());
  InstanceChannel channel("");
  EXPECT_FALSE(channel.becomeFirst());
  EXPECT_EQ(channel.error(), "Cannot open " + lockPath() + " (" + std::strerror(EISDIR) +
                                 "); check what it is and who owns it");
}

TEST_F(InstanceChannelTest, LockThatIsALinkIsNotFollowed) {
  const std::string elsewhere = home.home() + "/precious";
  std::filesystem::create_directory(folder());
  std::filesystem::create_symlink(elsewhere, lockPath());
  InstanceChannel channel("");
  EXPECT_FALSE(channel.becomeFirst());
  EXPECT_NE(channel.error(), "");
  EXPECT_FALSE(exists(elsewhere));
}

TEST_F(InstanceChannelTest, WithoutARuntimeFolderItLiesWithTheData) {
  home.environment.unset("XDG_RUNTIME_DIR");
  InstanceChannel first("");
  EXPECT_TRUE(first.becomeFirst());
  EXPECT_TRUE(exists(home.data() + "/softtoken/run/instance.socket"));
}

TEST_F(InstanceChannelTest, RequestThatIsTooLongIsNotPerformedInPart) {
  InstanceChannel first("");
  ASSERT_TRUE(first.becomeFirst());
  listen(first);
  for (const int length : {65536, 100'000, 8'000'000}) {
    EXPECT_FALSE(sent(QString(length, QLatin1Char('x')))) << length;
    EXPECT_EQ(received, Requests()) << length;
  }
  EXPECT_TRUE(sent(QStringLiteral("toggle")));
  EXPECT_EQ(received, (Requests{QStringLiteral("toggle")}));
}

TEST_F(InstanceChannelTest, SilentClientsHoldNobodyUp) {
  InstanceChannel first("");
  ASSERT_TRUE(first.becomeFirst());
  listen(first);
  // Fewer than may be connected at a time, and more.
  for (const std::size_t count : {20U, 100U}) {
    std::vector<int> silent;
    while (silent.size() < count) {
      silent.push_back(connection());
      QCoreApplication::processEvents();
    }
    QElapsedTimer timer;
    timer.start();
    EXPECT_TRUE(sent(QStringLiteral("toggle"))) << count;
    EXPECT_LT(timer.elapsed(), 400) << count;
    for (const int one : silent) close(one);
  }
  EXPECT_EQ(received, (Requests{QStringLiteral("toggle"), QStringLiteral("toggle")}));
}

TEST_F(InstanceChannelTest, RequestThatComesInPiecesIsWhole) {
  InstanceChannel first("");
  ASSERT_TRUE(first.becomeFirst());
  listen(first);
  const int slow = connection();
  for (const char letter : std::string("toggle")) {
    ASSERT_EQ(write(slow, &letter, 1), 1);
    QTest::qWait(5);
    EXPECT_EQ(received, Requests());
  }
  EXPECT_TRUE(sent(QStringLiteral("start"))) << "another goes ahead";
  shutdown(slow, SHUT_WR);
  EXPECT_TRUE(QTest::qWaitFor([this] { return received.size() == 2; }));
  EXPECT_EQ(received, (Requests{QStringLiteral("start"), QStringLiteral("toggle")}));
  char answer = 0;
  EXPECT_EQ(read(slow, &answer, 1), 1);
  EXPECT_EQ(answer, '+');
  close(slow);
}

TEST_F(InstanceChannelTest, RequestIsTakenWhileAnotherIsPerformed) {
  InstanceChannel first("");
  ASSERT_TRUE(first.becomeFirst());
  first.received = [&](const QString& request) {
    received.push_back(request);
    // As a question to the user does.
    if (received.size() > 1) return;
    EXPECT_TRUE(sent(QStringLiteral("quit")));
  };
  first.listen();
  EXPECT_TRUE(sent(QStringLiteral("toggle")));
  EXPECT_EQ(received, (Requests{QStringLiteral("toggle"), QStringLiteral("quit")}));
}

TEST_F(InstanceChannelTest, ClosedChannelTakesNothing) {
  InstanceChannel first("");
  ASSERT_TRUE(first.becomeFirst());
  listen(first);
  const int silent = connection();
  QCoreApplication::processEvents();
  first.close();
  EXPECT_FALSE(exists(socketPath()));
  EXPECT_FALSE(InstanceChannel("").send(QStringLiteral("toggle")));
  close(silent);
}

TEST_F(InstanceChannelTest, ClientThatDripsDoesNotHoldTheFirstUpForLong) {
  InstanceChannel first("");
  ASSERT_TRUE(first.becomeFirst());
  listen(first);
  const int dripping = connection();
  std::atomic<bool> stop = false;
  std::thread drops([&] {
    for (int i = 0; i < 100 && !stop; ++i) {
      static_cast<void>(send(dripping, "x", 1, MSG_NOSIGNAL));
      usleep(50'000);
    }
  });
  QElapsedTimer timer;
  timer.start();
  EXPECT_TRUE(sent(QStringLiteral("toggle")));
  EXPECT_LT(timer.elapsed(), 1500);
  stop = true;
  drops.join();
  close(dripping);
  EXPECT_EQ(received, (Requests{QStringLiteral("toggle")}));
}

TEST_F(InstanceChannelTest, RequestWithoutAnEndIsNotPerformed) {
  InstanceChannel first("");
  ASSERT_TRUE(first.becomeFirst());
  listen(first);
  const int other = connection();
  ASSERT_EQ(write(other, "op", 2), 2);
  EXPECT_TRUE(sent(QStringLiteral("quit")));
  EXPECT_EQ(received, (Requests{QStringLiteral("quit")}));
  close(other);
}

TEST_F(InstanceChannelTest, ClientThatSaysNothingAndGoesIsIgnored) {
  InstanceChannel first("");
  ASSERT_TRUE(first.becomeFirst());
  listen(first);
  close(connection());
  EXPECT_TRUE(sent(QStringLiteral("toggle")));
  EXPECT_EQ(received, (Requests{QStringLiteral("toggle")}));
}

TEST_F(InstanceChannelTest, TellsTheCommandLineOfTheProgramWhileItRuns) {
  EXPECT_EQ(runningPrograms(), std::vector<ProgramFacts>());
  const ProgramFacts facts{{"pid", "17"}, {"setting debug", "true"}, {"empty", ""}};
  {
    InstanceChannel channel(":7");
    ASSERT_TRUE(channel.becomeFirst());
    listen(channel);
    EXPECT_EQ(runningPrograms(), std::vector{ProgramFacts()}) << "it has told nothing yet";
    channel.tell(facts);
    EXPECT_EQ(modeOf(folder() + "/instance:7.facts"), 0600);
    EXPECT_EQ(runningPrograms(), std::vector{facts});
    InstanceChannel second(":7");
    ASSERT_FALSE(second.becomeFirst());
    second.tell({{"pid", "18"}});
    EXPECT_EQ(runningPrograms(), std::vector{facts}) << "only the first one counts";
    QCoreApplication::processEvents();
    EXPECT_TRUE(received.empty()) << "to be looked at is no request";
  }
  EXPECT_EQ(runningPrograms(), std::vector<ProgramFacts>());
  EXPECT_FALSE(exists(folder() + "/instance:7.facts"));
}

TEST_F(InstanceChannelTest, FactsOfAProgramThatDiedDoNotCount) {
  test::inChild([] {
    InstanceChannel channel("");
    ASSERT_TRUE(channel.becomeFirst());
    channel.tell({{"pid", "17"}});
    _exit(0);
  });
  EXPECT_TRUE(exists(folder() + "/instance.facts"));
  EXPECT_EQ(runningPrograms(), std::vector<ProgramFacts>());
}

TEST_F(InstanceChannelTest, LineEndsInFactsMakeNoOtherFacts) {
  InstanceChannel channel("");
  ASSERT_TRUE(channel.becomeFirst());
  channel.tell({{"desktop", "a\npid=3"}});
  EXPECT_EQ(runningPrograms(), (std::vector{ProgramFacts{{"desktop", "a pid=3"}}}));
}

TEST_F(InstanceChannelTest, BytesThatAreNoTextDoNoHarm) {
  InstanceChannel first("");
  ASSERT_TRUE(first.becomeFirst());
  listen(first);
  const int other = connection();
  ASSERT_EQ(write(other, "\xff\xfe\0\x80", 4), 4);
  close(other);
  EXPECT_TRUE(QTest::qWaitFor([this] { return !received.empty(); }, 5000));
  EXPECT_TRUE(sent(QStringLiteral("toggle")));
  EXPECT_EQ(received.back(), QStringLiteral("toggle"));
}

TEST_F(InstanceChannelTest, DisplayNames) {
  const std::pair<const char*, const char*> names[] = {
      {":0", ":0"},         {":0.0", ":0"},         {":10.2", ":10"},
      {"far:1.0", "far:1"}, {"a.b.c:2", "a.b.c:2"}, {"/tmp/x:0", "_tmp_x:0"}};
  for (const auto& [display, name] : names) {
    home.environment.set("DISPLAY", display);
    EXPECT_EQ(displayName(), name);
  }
  home.environment.set("DISPLAY", "");
  EXPECT_EQ(displayName(), "");
  home.environment.set("WAYLAND_DISPLAY", "wayland-1");
  EXPECT_EQ(displayName(), "wayland-1");
}

}  // namespace
}  // namespace talvane
