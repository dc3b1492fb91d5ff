#pragma once

#include <memory>
#include <string>

#include "platform/device_identifiers.h"

namespace talvane {

/// The sources of the identifiers: the system's own, except in tests.
struct DeviceIdentifierPaths {
  std::string machine_id = "/etc/machine-id";
  std::string mountinfo = "/proc/self/mountinfo";
  std::string volume_links = "/dev/disk/by-uuid";
};

std::unique_ptr<DeviceIdentifiers> deviceIdentifiersFrom(DeviceIdentifierPaths paths);

}  // namespace talvane
