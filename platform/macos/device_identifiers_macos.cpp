#include <CoreFoundation/CoreFoundation.h>
#include <DiskArbitration/DiskArbitration.h>
#include <IOKit/IOKitLib.h>
#include <membership.h>
#include <pwd.h>
#include <unistd.h>
#include <uuid/uuid.h>

#include <cstdint>
#include <optional>
#include <string>

#include "engine/text.h"
#include "platform/device_identifiers.h"
#include "platform/macos/core_foundation.h"
#include "platform/user_entry.h"

// kIOMasterPortDefault has its newer name on newer systems only.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace talvane {
namespace {

using macos::Owned;

class RegistryEntry {
 public:
  explicit RegistryEntry(const char* path)
      : entry_(IORegistryEntryFromPath(kIOMasterPortDefault, path)) {}
  ~RegistryEntry() {
    if (entry_ != IO_OBJECT_NULL) {
      IOObjectRelease(entry_);
    }
  }
  RegistryEntry(const RegistryEntry&) = delete;
  RegistryEntry& operator=(const RegistryEntry&) = delete;

  /// Empty if there is no such entry or property, or if it is not a text.
  [[nodiscard]] std::string textProperty(CFStringRef key) const {
    if (entry_ == IO_OBJECT_NULL) {
      return {};
    }
    const Owned<CFTypeRef> value(
        IORegistryEntryCreateCFProperty(entry_, key, kCFAllocatorDefault, 0));
    return macos::text(macos::asString(value.get()));
  }

 private:
  io_registry_entry_t entry_;
};

std::string systemVolumeUuid() {
  const Owned<DASessionRef> session(DASessionCreate(kCFAllocatorDefault));
  if (!session) return {};
  // Always this partition, wherever the system is: existing tokens depend on it.
  const Owned<DADiskRef> disk(
      DADiskCreateFromBSDName(kCFAllocatorDefault, session.get(), "/dev/disk0s2"));
  if (!disk) return {};
  const Owned<CFDictionaryRef> description(DADiskCopyDescription(disk.get()));
  if (!description) return {};
  const auto* uuid = CFDictionaryGetValue(description.get(), kDADiskDescriptionVolumeUUIDKey);
  if (uuid == nullptr || CFGetTypeID(uuid) != CFUUIDGetTypeID()) return {};
  const Owned<CFStringRef> result(
      CFUUIDCreateString(kCFAllocatorDefault, static_cast<CFUUIDRef>(uuid)));
  return macos::text(result.get());
}

std::string userText(uid_t user_id, const std::string& login_name) {
  std::string result = login_name + upperCase(login_name);
  if (getpwnam(login_name.c_str()) == nullptr) return result;
  // Signed: "nobody" is -2.
  result += std::to_string(static_cast<std::int32_t>(user_id));
  uuid_t uuid;
  if (mbr_uid_to_uuid(user_id, uuid) == 0) {
    uuid_string_t uuid_text;
    uuid_unparse(uuid, uuid_text);
    result += uuid_text;
  }
  return result;
}

// Nothing is cached, so that the next call sees another disk or user.
class MacDeviceIdentifiers final : public DeviceIdentifiers {
 public:
  Identity read() override {
    Identity identity;
    identity.serial_number =
        RegistryEntry("IOService:/").textProperty(CFSTR("IOPlatformSerialNumber"));
    identity.volume_uuid = systemVolumeUuid();
    const uid_t user_id = getuid();
    std::optional<UserEntry> entry;
    const int error = readUserEntry(user_id, &entry);
    if (entry) identity.login_name = entry->name;
    if (identity.login_name.empty()) identity.problem = loginNameProblem(user_id, error);
    identity.user = userText(user_id, identity.login_name);
    return identity;
  }
};

}  // namespace

std::unique_ptr<DeviceIdentifiers> systemDeviceIdentifiers() {
  return std::make_unique<MacDeviceIdentifiers>();
}

}  // namespace talvane
