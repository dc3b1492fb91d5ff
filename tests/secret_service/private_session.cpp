#include "tests/secret_service/private_session.h"

#include <dlfcn.h>
#include <gio/gio.h>
#include <stdlib.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "tests/secret_service/bus_client.h"

namespace talvane::testing {
namespace {

namespace fs = std::filesystem;

void writeFile(const fs::path& path, const std::string& text) {
  std::ofstream(path) << text;
}

void waitUntil(const std::string& what, const fs::path& errors,
               const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) {
      throw std::runtime_error("waited in vain for " + what + ": " + readFile(errors));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

}  // namespace

PrivateSession::PrivateSession() {
  std::string name = (fs::temp_directory_path() / "softtoken-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory");
  folder_ = name;
  for (const char* sub_folder : {"home", "data", "config", "cache", "run", "services"}) {
    fs::create_directory(folder_ / sub_folder);
    fs::permissions(folder_ / sub_folder, fs::perms::owner_all);
  }
  setenv("HOME", (folder_ / "home").c_str(), 1);
  setenv("XDG_DATA_HOME", (folder_ / "data").c_str(), 1);
  setenv("XDG_CONFIG_HOME", (folder_ / "config").c_str(), 1);
  setenv("XDG_CACHE_HOME", (folder_ / "cache").c_str(), 1);
  setenv("XDG_RUNTIME_DIR", (folder_ / "run").c_str(), 1);
  setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + (folder_ / "run/bus").string()).c_str(), 1);
  setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + (folder_ / "run/none").string()).c_str(), 1);
  for (const char* name_to_forget :
       {"DISPLAY", "WAYLAND_DISPLAY", "GNOME_KEYRING_CONTROL", "SSH_AUTH_SOCK"}) {
    unsetenv(name_to_forget);
  }
  // What GLib finds wrong with our calls ends the test.
  g_log_set_always_fatal(static_cast<GLogLevelFlags>(G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING));
}

PrivateSession::~PrivateSession() {
  daemon_.kill();
  bus_.kill();
  std::error_code error;
  fs::remove_all(folder_, error);
}

void PrivateSession::setActivation(const std::string& command) {
  writeFile(services() / "org.freedesktop.secrets.service",
            "[D-BUS Service]\nName=org.freedesktop.secrets\nExec=" + command + "\n");
}

void PrivateSession::startBus() {
  const fs::path configuration = folder_ / "bus.conf";
  const std::string folder_of_services = "<servicedir>" + services().string() + "</servicedir>";
  writeFile(configuration, R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=)" + (folder_ / "run/bus").string() +
                               R"(</listen>
  <auth>EXTERNAL</auth>
  )" + folder_of_services + R"(
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)");
  fs::remove(folder_ / "run/bus");
  bus_ = ChildProcess(
      {"dbus-daemon", "--config-file=" + configuration.string(), "--nofork", "--print-address=1"},
      errors());
  if (bus_.readLine().empty()) {
    throw std::runtime_error("dbus-daemon does not start: " + readFile(errors()));
  }
}

std::vector<std::string> PrivateSession::daemonCommand() const {
  return {"gnome-keyring-daemon", "--foreground", "--components=secrets",
          "--control-directory=" + (folder_ / "run/keyring").string()};
}

void PrivateSession::startDaemon(const std::string& password) {
  if (password.empty()) {
    startDaemonAsItIs();
    BusClient client;
    if (client.defaultCollection() == "/") client.setDefault(client.makeCollection("Login", ""));
    return;
  }
  std::vector<std::string> command = daemonCommand();
  command.push_back("--unlock");
  daemon_ = ChildProcess(command, errors(), password);
  BusClient client;
  waitUntil("the unlocked keyring", errors(), [&] {
    if (!client.serviceRuns()) return false;
    const std::string collection = client.defaultCollection();
    return collection != "/" && !client.isLocked(collection);
  });
}

void PrivateSession::startDaemonAsItIs() {
  daemon_ = ChildProcess(daemonCommand(), errors());
  BusClient client;
  waitUntil("the keyring daemon", errors(), [&] { return client.serviceRuns(); });
}

void PrivateSession::killDaemon() {
  daemon_.kill();
  BusClient client;
  waitUntil("the daemon's end", errors(), [&] { return !client.serviceRuns(); });
}

fs::path PrivateSession::keyring() const {
  for (const auto& entry : fs::directory_iterator(folder_ / "data/keyrings")) {
    if (entry.path().extension() == ".keyring") return entry.path();
  }
  return {};
}

std::unique_ptr<KeychainService> makeSecretServiceKeychain() {
  void* module = dlopen(SECRET_SERVICE_MODULE, RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) throw std::runtime_error(dlerror());
  using Factory = KeychainService* (*)();
  const auto factory = reinterpret_cast<Factory>(dlsym(module, "softtoken_make_keychain"));
  if (factory == nullptr) throw std::runtime_error("the module has no factory");
  return std::unique_ptr<KeychainService>(factory());
}

std::string readFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace talvane::testing
