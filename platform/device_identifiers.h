#pragma once

#include <memory>
#include <string>

namespace talvane {

/// The three texts behind the device identity, and the login name. Each comes from a source that
/// every user may read and that does not depend on privileges. A text whose source does not exist
/// is empty; so is one that cannot be read, which `problem` tells apart. A source that has changed
/// or could not be read is read again.
class DeviceIdentifiers {
 public:
  virtual ~DeviceIdentifiers() = default;

  /// The machine's serial number (Linux: /etc/machine-id, machine-id(5)).
  virtual std::string serialNumber() = 0;
  /// The UUID of the system volume, upper case (Linux: of the file system mounted at /).
  virtual std::string volumeUuid() = 0;
  /// The login name, its upper-case form, the user id and the user's UUID, concatenated.
  virtual std::string user() = 0;
  /// The login name alone: the account under which keychain items are stored.
  virtual std::string loginName() = 0;

  /// Which text could not be read when it was last asked for, and why; empty if all could. A user
  /// without a login name counts: there is no account for keychain items.
  [[nodiscard]] virtual std::string problem() const { return {}; }
};

/// The system's own identifiers.
std::unique_ptr<DeviceIdentifiers> systemDeviceIdentifiers();

}  // namespace talvane
