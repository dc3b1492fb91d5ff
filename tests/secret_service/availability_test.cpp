#include <signal.h>
#include <stdlib.h>

#include <functional>
#include <thread>

#include "tests/secret_service/keyring_test.h"

namespace talvane::testing {
namespace {

/// Daemons and buses that are not there, go away, or do not answer.
class Availability : public KeyringTest {
 protected:
  /// Every call fails with the status, and within the time.
  void expectEveryCall(KeychainStatus status, double seconds = 2.5) {
    SecretBytes secret = bytes("before");
    const std::function<KeychainStatus()> calls[] = {
        [&] { return keychain_->find("token", "ada", &secret); },
        [&] { return keychain_->add("token", "ada", bytes("x")); },
        [&] { return keychain_->replace("token", "ada", bytes("x")); },
        [&] { return keychain_->remove("token", "ada"); },
        [&] { return keychain_->describe().status; },
    };
    for (const auto& call : calls) {
      const Stopwatch watch;
      EXPECT_EQ(call(), status) << "call " << &call - calls;
      EXPECT_LT(watch.seconds(), seconds) << "call " << &call - calls;
    }
    EXPECT_EQ(secret.get(), bytes("before").get());
  }

  void startWithToken() {
    session_.startBus();
    session_.startDaemon("");
    ASSERT_EQ(keychain_->add("token", "ada", bytes("one")), KeychainStatus::ok);
  }

  std::unique_ptr<KeychainService> keychain_ = makeSecretServiceKeychain();
};

TEST_F(Availability, WithoutADaemonThereIsNoKeychain) {
  session_.startBus();
  expectEveryCall(KeychainStatus::not_available);
  BusMonitor monitor;
  const KeychainDescription description = keychain_->describe();
  EXPECT_EQ(description.name, "Secret Service");
  EXPECT_EQ(description.location, "");
  EXPECT_EQ(monitor.calls("StartServiceByName"), 1);
}

TEST_F(Availability, WithoutABusThereIsNoKeychain) {
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  expectEveryCall(KeychainStatus::not_available);
  for (const char* variable : {"DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR"}) {
    setenv(variable, "", 1);
    expectEveryCall(KeychainStatus::not_available);
    unsetenv(variable);
  }
  expectEveryCall(KeychainStatus::not_available);
}

TEST_F(Availability, AnAddressWithoutABusIsNoKeychain) {
  expectEveryCall(KeychainStatus::not_available);
  setenv("DBUS_SESSION_BUS_ADDRESS", "nonsense", 1);
  expectEveryCall(KeychainStatus::not_available);
}

TEST_F(Availability, AReadingWithoutADaemonHasNoKeychain) {
  session_.startBus();
  keychain_->beginReading("ada");
  EXPECT_EQ(found(*keychain_, "token"), "status -25291");
  EXPECT_EQ(found(*keychain_, "token2"), "status -25291");
  keychain_->endReading();
}

TEST_F(Availability, TheBusIsFoundInTheRuntimeFolder) {
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  session_.startBus();
  setenv("DBUS_SESSION_BUS_ADDRESS",
         ("unix:path=" + (session_.folder() / "run/bus").string()).c_str(), 1);
  session_.startDaemon("");
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  EXPECT_EQ(keychain_->add("token", "ada", bytes("one")), KeychainStatus::ok);
  EXPECT_EQ(found(*keychain_, "token"), "one");
  setenv("DBUS_SESSION_BUS_ADDRESS", "", 1);
  EXPECT_EQ(found(*makeSecretServiceKeychain(), "token"), "one");
}

TEST_F(Availability, WithoutADefaultKeyringNothingIsFoundAndNothingStored) {
  session_.startBus();
  session_.startDaemonAsItIs();
  EXPECT_EQ(found(*keychain_, "token"), "status -25300");
  EXPECT_EQ(keychain_->add("token", "ada", bytes("one")), KeychainStatus::no_default_keychain);
  EXPECT_EQ(keychain_->replace("token", "ada", bytes("one")), KeychainStatus::item_not_found);
  EXPECT_EQ(keychain_->remove("token", "ada"), KeychainStatus::item_not_found);
  EXPECT_EQ(keychain_->describe().status, KeychainStatus::no_default_keychain);
  keychain_->beginReading("ada");
  EXPECT_EQ(found(*keychain_, "token"), "status -25300");
  keychain_->endReading();
}

TEST_F(Availability, ADaemonThatHangsFromTheStartDoesNotRespond) {
  session_.startBus();
  session_.startDaemon("");
  session_.daemon().signal(SIGSTOP);
  const Stopwatch watch;
  EXPECT_EQ(found(*keychain_, "token"), "status -67585");
  EXPECT_LT(watch.seconds(), 2.5);
  session_.daemon().signal(SIGCONT);
  EXPECT_EQ(found(*keychain_, "token"), "status -25300");
}

TEST_F(Availability, ADaemonThatHangsLaterDoesNotRespond) {
  startWithToken();
  session_.daemon().signal(SIGSTOP);
  expectEveryCall(KeychainStatus::not_responding);
  session_.daemon().signal(SIGCONT);
  EXPECT_EQ(found(*keychain_, "token"), "one");
}

TEST_F(Availability, AReadingWaitsForAHungDaemonOnce) {
  startWithToken();
  session_.daemon().signal(SIGSTOP);
  const Stopwatch watch;
  keychain_->beginReading("ada");
  for (int i = 0; i < 32; ++i) {
    EXPECT_EQ(found(*keychain_, "token" + std::to_string(i)), "status -67585");
  }
  keychain_->endReading();
  EXPECT_LT(watch.seconds(), 2.5);
  session_.daemon().signal(SIGCONT);
  keychain_->beginReading("ada");
  EXPECT_EQ(found(*keychain_, "token"), "one");
  keychain_->endReading();
}

TEST_F(Availability, AReadingThatHasToLookAgainWaitsForAHungDaemonOnce) {
  startWithToken();
  BusClient client;
  const std::string other = client.makeCollection("Other", "a password");
  client.addItem(other, "token2", "ada", "b25l");
  client.lock(other);
  keychain_->beginReading("ada");
  EXPECT_EQ(found(*keychain_, "token"), "one");
  session_.daemon().signal(SIGSTOP);
  const Stopwatch watch;
  for (int i = 0; i < 3; ++i) EXPECT_EQ(found(*keychain_, "token2"), "status -67585");
  keychain_->endReading();
  EXPECT_LT(watch.seconds(), 2.5);
}

TEST_F(Availability, ABusThatHangsDoesNotRespond) {
  startWithToken();
  session_.bus().signal(SIGSTOP);
  for (int round = 0; round < 2; ++round) {  // connected, then connecting anew
    const Stopwatch watch;
    EXPECT_EQ(found(*keychain_, "token"), "status -67585");
    EXPECT_LT(watch.seconds(), 2.5);
  }
  session_.bus().signal(SIGCONT);
  EXPECT_EQ(found(*keychain_, "token"), "one");
}

TEST_F(Availability, AHungDaemonDoesNotHoldUpTheEnd) {
  startWithToken();
  session_.daemon().signal(SIGSTOP);
  EXPECT_EQ(found(*keychain_, "token"), "status -67585");
  const Stopwatch watch;
  keychain_.reset();
  EXPECT_LT(watch.seconds(), 0.5);
}

TEST_F(Availability, AServiceWhoseStartHangsDoesNotRespond) {
  session_.setActivation("/bin/sleep 5");
  session_.startBus();
  const Stopwatch watch;
  EXPECT_EQ(found(*keychain_, "token"), "status -67585");
  EXPECT_LT(watch.seconds(), 2.5);
}

TEST_F(Availability, AServiceThatCannotBeStartedIsNoKeychain) {
  session_.setActivation("/bin/false");
  session_.startBus();
  expectEveryCall(KeychainStatus::not_available);
}

TEST_F(Availability, TheBusStartsTheDaemonOnDemand) {
  std::string command = "/usr/bin/env";
  for (const std::string& word : session_.daemonCommand()) command += " " + word;
  session_.setActivation(command);
  session_.startBus();
  EXPECT_EQ(keychain_->describe().status, KeychainStatus::no_default_keychain);
  EXPECT_TRUE(BusClient().serviceRuns());
  BusClient client;
  const Variant reply =
      client.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                  "GetConnectionUnixProcessID", g_variant_new("(s)", "org.freedesktop.secrets"));
  guint daemon = 0;
  g_variant_get(reply.get(), "(u)", &daemon);
  // Killed between two calls: the next has the bus start it again.
  ASSERT_GT(daemon, 1U);
  ASSERT_EQ(kill(static_cast<pid_t>(daemon), SIGKILL), 0);
  EXPECT_EQ(keychain_->describe().status, KeychainStatus::no_default_keychain);
}

TEST_F(Availability, AKilledDaemonIsNoKeychain) {
  startWithToken();
  session_.killDaemon();
  expectEveryCall(KeychainStatus::not_available);
}

TEST_F(Availability, ADaemonStartedAnewIsUsedAtOnce) {
  startWithToken();
  ASSERT_EQ(found(*keychain_, "token"), "one");
  session_.killDaemon();
  session_.startDaemonAsItIs();
  EXPECT_EQ(found(*keychain_, "token"), "one");
  session_.killDaemon();
  session_.startDaemonAsItIs();
  EXPECT_EQ(keychain_->replace("token", "ada", bytes("two")), KeychainStatus::ok);
  session_.killDaemon();
  session_.startDaemonAsItIs();
  EXPECT_EQ(keychain_->add("token2", "ada", bytes("three")), KeychainStatus::ok);
  session_.killDaemon();
  session_.startDaemonAsItIs();
  keychain_->beginReading("ada");
  EXPECT_EQ(found(*keychain_, "token"), "two");
  EXPECT_EQ(found(*keychain_, "token2"), "three");
  keychain_->endReading();
  session_.killDaemon();
  session_.startDaemonAsItIs();
  EXPECT_EQ(keychain_->remove("token", "ada"), KeychainStatus::ok);
}

TEST_F(Availability, ADaemonKilledWhileItIsAskedIsNoKeychain) {
  startWithToken();
  session_.daemon().signal(SIGSTOP);
  std::thread killer([this] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    session_.daemon().signal(SIGKILL);
  });
  const Stopwatch watch;
  EXPECT_EQ(found(*keychain_, "token"), "status -25291");
  EXPECT_LT(watch.seconds(), 1.5);
  killer.join();
}

TEST_F(Availability, ABusStartedAnewIsUsedAtOnce) {
  startWithToken();
  session_.killDaemon();
  session_.stopBus();
  EXPECT_EQ(found(*keychain_, "token"), "status -25291");
  session_.startBus();
  session_.startDaemonAsItIs();
  EXPECT_EQ(found(*keychain_, "token"), "one");
  // The same without a call while there is none.
  session_.killDaemon();
  session_.stopBus();
  session_.startBus();
  session_.startDaemonAsItIs();
  EXPECT_EQ(found(*keychain_, "token"), "one");
}

}  // namespace
}  // namespace talvane::testing
