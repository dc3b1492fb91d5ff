#include "platform/linux/device_identifiers_linux.h"

#include <dirent.h>
#include <fmt/core.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <utility>

#include "engine/text.h"
#include "platform/device_identifiers.h"
#include "platform/user_entry.h"

namespace talvane {
namespace {

// The state of a source when it was read; a different stamp means that it has changed.
struct Stamp {
  dev_t device = 0;
  ino_t inode = 0;
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;
  friend bool operator==(const Stamp&, const Stamp&) = default;
};

Stamp stampOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return {};
  return {status.st_dev, status.st_ino, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

std::string firstLine(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  return line;
}

// The block device of the file system mounted at "/": its number and its node, from mountinfo
// (proc_pid_mountinfo(5)). Some file systems report another number than their device.
struct RootMount {
  dev_t number = 0;
  std::string source;
};

RootMount rootMount(const std::string& mountinfo) {
  RootMount root;
  std::ifstream file(mountinfo);
  for (std::string line; std::getline(file, line);) {
    std::istringstream fields(line);
    std::string id, parent, number, subtree, mount_point, field;
    fields >> id >> parent >> number >> subtree >> mount_point;
    if (mount_point != "/") continue;
    while (fields >> field && field != "-") {
    }
    std::string type;
    fields >> type >> root.source;  // the last mount at "/" is the visible one
    const std::size_t colon = number.find(':');
    if (colon != std::string::npos) {
      root.number = makedev(
          static_cast<unsigned>(leadingInteger(number)),
          static_cast<unsigned>(leadingInteger(std::string_view(number).substr(colon + 1))));
    }
  }
  return root;
}

dev_t blockDevice(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISBLK(status.st_mode) ? status.st_rdev : 0;
}

// The name of the link in /dev/disk/by-uuid (udev(7)) that leads to the device.
std::string uuidOf(const RootMount& root, const std::string& links) {
  const dev_t source = root.source.starts_with('/') ? blockDevice(root.source) : 0;
  DIR* folder = opendir(links.c_str());
  if (folder == nullptr) return {};
  std::string uuid;
  while (const dirent* entry = readdir(folder)) {
    if (entry->d_name[0] == '.') continue;
    const dev_t device = blockDevice(links + '/' + entry->d_name);
    if (device != 0 && (device == source || device == root.number)) {
      uuid = upperCase(entry->d_name);
      break;
    }
  }
  closedir(folder);
  return uuid;
}

class LinuxDeviceIdentifiers final : public DeviceIdentifiers {
 public:
  explicit LinuxDeviceIdentifiers(DeviceIdentifierPaths paths) : paths_(std::move(paths)) {}

  std::string serialNumber() override {
    const Stamp stamp = stampOf(paths_.machine_id);
    if (!serial_read_ || stamp != serial_stamp_) {
      serial_ = firstLine(paths_.machine_id);
      serial_stamp_ = stamp;
      serial_read_ = true;
    }
    return serial_;
  }

  std::string volumeUuid() override {
    const std::array<Stamp, 2> stamps = {stampOf("/"), stampOf(paths_.volume_links)};
    // For "/" only the file system matters, not the folder's change time.
    const bool same = volume_read_ && stamps[0].device == volume_stamps_[0].device &&
                      stamps[1] == volume_stamps_[1];
    if (!same) {
      volume_ = uuidOf(rootMount(paths_.mountinfo), paths_.volume_links);
      volume_stamps_ = stamps;
      volume_read_ = true;
    }
    return volume_;
  }

  std::string user() override {
    readAccount();
    return user_;
  }

  std::string loginName() override {
    readAccount();
    return login_name_;
  }

 private:
  void readAccount() {
    const uid_t uid = getuid();
    if (account_read_ && uid == uid_) return;
    uid_ = uid;
    login_name_.clear();
    user_.clear();
    std::optional<UserEntry> entry;
    // Ask a directory service that does not answer yet again next time.
    account_read_ = readUserEntry(uid, &entry) == 0;
    if (!entry) return;
    login_name_ = entry->name;
    // The UUID that directory services derive from a local user id.
    user_ = fmt::format("{}{}{}FFFFEEEE-DDDD-CCCC-BBBB-AAAA{:08X}", login_name_,
                        upperCase(login_name_), static_cast<int>(uid), uid);
  }

  DeviceIdentifierPaths paths_;
  bool serial_read_ = false;
  Stamp serial_stamp_;
  std::string serial_;
  bool volume_read_ = false;
  std::array<Stamp, 2> volume_stamps_;
  std::string volume_;
  bool account_read_ = false;
  uid_t uid_ = 0;
  std::string login_name_;
  std::string user_;
};

}  // namespace

std::unique_ptr<DeviceIdentifiers> deviceIdentifiersFrom(DeviceIdentifierPaths paths) {
  return std::make_unique<LinuxDeviceIdentifiers>(std::move(paths));
}

std::unique_ptr<DeviceIdentifiers> systemDeviceIdentifiers() {
  return deviceIdentifiersFrom({});
}

}  // namespace talvane
