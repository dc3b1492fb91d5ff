#pragma once

#include <memory>
#include <string>

#include "platform/device_identifiers.h"

namespace talvane {

/// The places that the identifiers are read from; the system's own unless a test says otherwise.
struct DeviceIdentifierPaths {
  std::string machine_id = "/etc/machine-id";
  std::string mountinfo = "/proc/self/mountinfo";
  std::string volume_links = "/dev/disk/by-uuid";
};

std::unique_ptr<DeviceIdentifiers> deviceIdentifiersFrom(DeviceIdentifierPaths paths);

}  // namespace talvane
