#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "platform/keychain_service.h"
#include "tests/secret_service/child_process.h"

namespace talvane::testing {

/// A user's session that is nobody's: home, folders and session bus in a fresh temporary directory
/// that goes when the session ends. The test's own environment points to it.
class PrivateSession {
 public:
  PrivateSession();
  ~PrivateSession();
  PrivateSession(const PrivateSession&) = delete;
  PrivateSession& operator=(const PrivateSession&) = delete;

  /// The service's command when the bus is to start it on demand. Before startBus().
  void setActivation(const std::string& command);
  /// The folder of the bus for the descriptions of services that it may start.
  std::filesystem::path services() const { return folder_ / "services"; }
  void startBus();
  void stopBus() { bus_.kill(); }
  ChildProcess& bus() { return bus_; }

  /// The command line of the keyring daemon.
  std::vector<std::string> daemonCommand() const;
  /// Starts the keyring daemon, and makes or unlocks a default keyring "Login" of this password;
  /// with an empty one it is a keyring without password. Waits until the keyring can be used.
  void startDaemon(const std::string& password);
  /// Starts the keyring daemon with the keyrings as they lie there, if any, and waits for its name.
  void startDaemonAsItIs();
  /// Kills the daemon and waits until the bus knows.
  void killDaemon();
  ChildProcess& daemon() { return daemon_; }

  const std::filesystem::path& folder() const { return folder_; }
  /// The file of the only keyring.
  std::filesystem::path keyring() const;

 private:
  /// What the children had to complain about.
  std::filesystem::path errors() const { return folder_ / "errors"; }

  std::filesystem::path folder_;
  ChildProcess bus_;
  ChildProcess daemon_;
};

/// A keychain made by the module, loaded as a program loads it.
std::unique_ptr<KeychainService> makeSecretServiceKeychain();

std::string readFile(const std::filesystem::path& path);

}  // namespace talvane::testing
