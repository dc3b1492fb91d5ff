#pragma once

#include <memory>
#include <string>

namespace talvane {

/// The three texts behind the device identity, and the login name, at one moment. A text whose
/// source does not exist is empty; so is one that cannot be read, which `problem` tells apart.
struct Identity {
  /// The machine's serial number (Linux: /etc/machine-id, machine-id(5)).
  std::string serial_number;
  /// The UUID of the system volume, upper case (Linux: of the file system mounted at /).
  std::string volume_uuid;
  /// The login name, its upper-case form, the user id and the user's UUID, concatenated.
  std::string user;
  /// The login name alone: the account under which keychain items are stored.
  std::string login_name;
  /// Which text cannot be read, and why; empty if all can. A user without a login name counts:
  /// there is no account for keychain items.
  std::string problem;

  friend bool operator==(const Identity&, const Identity&) = default;
};

/// Where an identity comes from: sources that every user may read and that do not depend on
/// privileges.
class DeviceIdentifiers {
 public:
  virtual ~DeviceIdentifiers() = default;

  /// A source that has changed or could not be read is read again.
  virtual Identity read() = 0;
};

/// The system's own identifiers.
std::unique_ptr<DeviceIdentifiers> systemDeviceIdentifiers();

}  // namespace talvane
