#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>
#include <unistd.h>

#include <QByteArray>
#include <QDBusConnection>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/file_descriptor.h"
#include "ui/desktop/session_bus.h"

namespace talvane {
namespace {

constexpr const char* address_variable = "DBUS_SESSION_BUS_ADDRESS";
constexpr const char* nowhere = "unix:path=/nonexistent";

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

// The socket's name for the first address in the list; a leading NUL means an abstract one. Empty
// if it is of another kind. (D-Bus specification, "Server addresses".)
std::string socketOf(const std::string& addresses) {
  const std::string first = addresses.substr(0, addresses.find(';'));
  constexpr std::string_view unix_kind = "unix:";
  if (!first.starts_with(unix_kind)) return {};
  for (std::size_t begin = unix_kind.size(); begin < first.size();) {
    const std::size_t end = std::min(first.find(',', begin), first.size());
    const std::string pair = first.substr(begin, end - begin);
    const std::size_t equals = pair.find('=');
    const std::string key = pair.substr(0, equals);
    if (equals != std::string::npos && (key == "path" || key == "abstract")) {
      const std::string value =
          QByteArray::fromPercentEncoding(QByteArray::fromStdString(pair.substr(equals + 1)))
              .toStdString();
      return key == "path" ? value : '\0' + value;
    }
    begin = end + 1;
  }
  return {};
}

}  // namespace

BusState stateOfBus(const std::string& address, std::chrono::milliseconds patience) {
  std::string name = socketOf(address);
  if (address.empty() && !variable("XDG_RUNTIME_DIR").empty()) {
    name = variable("XDG_RUNTIME_DIR") + "/bus";
  }
  sockaddr_un there{};
  there.sun_family = AF_UNIX;
  if (name.empty() || name.size() >= sizeof(there.sun_path)) return BusState::unknown;
  std::memcpy(there.sun_path, name.data(), name.size());
  const auto length =
      static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size() + (name[0] != '\0'));
  const FileDescriptor bus(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!bus.isOpen()) return BusState::unknown;
  if (connect(bus.get(), reinterpret_cast<const sockaddr*>(&there), length) != 0) {
    // Its queue is full of others that wait.
    return errno == EAGAIN ? BusState::silent : BusState::unknown;
  }
  // "Authentication protocol": a NUL byte, then the user's number as hexadecimal text.
  const std::string user = std::to_string(getuid());
  const std::string hello =
      '\0' + ("AUTH EXTERNAL " + QByteArray::fromStdString(user).toHex() + "\r\n").toStdString();
  if (send(bus.get(), hello.data(), hello.size(), MSG_NOSIGNAL) !=
      static_cast<ssize_t>(hello.size())) {
    return BusState::unknown;
  }
  const auto end = std::chrono::steady_clock::now() + patience;
  pollfd answer{bus.get(), POLLIN, 0};
  int ready = -1;
  do {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    ready = poll(&answer, 1, std::max(0, static_cast<int>(left.count())));
  } while (ready < 0 && errno == EINTR);
  return ready == 0 ? BusState::silent : BusState::answers;
}

SilentBusGuard::SilentBusGuard(std::chrono::milliseconds patience) {
  if (stateOfBus(variable(address_variable), patience) != BusState::silent) return;
  set(address_variable, nowhere);
  set("AT_SPI_BUS_ADDRESS", nullptr);
  set("NO_AT_BRIDGE", "1");  // for themes that bring another toolkit
}

SilentBusGuard::~SilentBusGuard() {
  if (changed_.empty()) return;
  // The toolkit keeps the result for good.
  static_cast<void>(QDBusConnection::sessionBus());
  for (const Variable& before : changed_) {
    if (before.was_set) {
      setenv(before.name.c_str(), before.value.c_str(), 1);
    } else {
      unsetenv(before.name.c_str());
    }
  }
}

void SilentBusGuard::set(const char* name, const char* value) {
  const char* before = std::getenv(name);
  changed_.push_back({name, before != nullptr, variable(name)});
  if (value != nullptr) {
    setenv(name, value, 1);
  } else {
    unsetenv(name);
  }
}

}  // namespace talvane
