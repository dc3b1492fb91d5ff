#include "platform/linux/device_identifiers_linux.h"

#include <dirent.h>
#include <fmt/core.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

#include "engine/text.h"
#include "platform/device_identifiers.h"
#include "platform/regular_file.h"
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

// Empty if there is nothing at the path, which is no failure.
std::string problemWith(const std::string& path, int error) {
  if (error == 0 || error == ENOENT || error == ENOTDIR) return {};
  return path + ": " + std::strerror(error);
}

Stamp stampOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return {};
  return {status.st_dev, status.st_ino, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

// The block device of the file system mounted at "/": its number and its node, from mountinfo
// (proc_pid_mountinfo(5)). Some file systems report another number than their device.
struct RootMount {
  dev_t number = 0;
  std::string source;
};

RootMount rootMount(const std::string& table) {
  RootMount root;
  std::istringstream file(table);
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

// The number of the block device at the path, 0 if it is none. `*problem` is set if that cannot be
// told.
dev_t blockDevice(const std::string& path, std::string* problem) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    if (problem->empty()) *problem = problemWith(path, errno);
    return 0;
  }
  return S_ISBLK(status.st_mode) ? status.st_rdev : 0;
}

// The name of the link in /dev/disk/by-uuid (udev(7)) that leads to the device; empty if none does.
// `*problem` is set if some cannot be followed and none of the others does.
std::string uuidOf(const RootMount& root, const std::string& links, std::string* problem) {
  std::string unknown;
  const dev_t source = root.source.starts_with('/') ? blockDevice(root.source, &unknown) : 0;
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(links.c_str()), closedir);
  if (folder == nullptr) {
    *problem = problemWith(links, errno);
    return {};
  }
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(folder.get());
    if (entry == nullptr) {
      if (unknown.empty()) unknown = problemWith(links, errno);
      break;
    }
    if (entry->d_name[0] == '.') continue;
    const dev_t device = blockDevice(links + '/' + entry->d_name, &unknown);
    if (device != 0 && (device == source || device == root.number)) {
      return upperCase(entry->d_name);
    }
  }
  *problem = std::move(unknown);
  return {};
}

class LinuxDeviceIdentifiers final : public DeviceIdentifiers {
 public:
  explicit LinuxDeviceIdentifiers(DeviceIdentifierPaths paths) : paths_(std::move(paths)) {}

  Identity read() override {
    readSerialNumber();
    readVolumeUuid();
    readAccount();
    std::string problem;
    for (const std::string* one : {&serial_problem_, &volume_problem_, &account_problem_}) {
      if (problem.empty()) problem = *one;
    }
    return {serial_.value_or(""), volume_.value_or(""), user_, login_name_, problem};
  }

 private:
  void readSerialNumber() {
    const Stamp stamp = stampOf(paths_.machine_id);
    if (serial_ && stamp == serial_stamp_) return;
    std::string text;
    const int error = readRegularFile(paths_.machine_id, &text);
    serial_problem_ = problemWith(paths_.machine_id, error);
    serial_.reset();
    if (!serial_problem_.empty()) return;
    serial_ = text.substr(0, text.find('\n'));
    serial_stamp_ = stamp;
  }

  void readVolumeUuid() {
    const std::array<Stamp, 2> stamps = {stampOf("/"), stampOf(paths_.volume_links)};
    // For "/" only the file system matters, not the folder's change time.
    const bool same =
        stamps[0].device == volume_stamps_[0].device && stamps[1] == volume_stamps_[1];
    if (volume_ && same) return;
    std::string table;
    volume_problem_ = problemWith(paths_.mountinfo, readRegularFile(paths_.mountinfo, &table));
    volume_.reset();
    std::string uuid;
    if (volume_problem_.empty()) {
      uuid = uuidOf(rootMount(table), paths_.volume_links, &volume_problem_);
    }
    if (!volume_problem_.empty()) return;
    volume_ = std::move(uuid);
    volume_stamps_ = stamps;
  }

  void readAccount() {
    const uid_t uid = getuid();
    if (!login_name_.empty() && uid == uid_) return;
    uid_ = uid;
    login_name_.clear();
    user_.clear();
    std::optional<UserEntry> entry;
    const int error = readUserEntry(uid, &entry);
    account_problem_ = entry && !entry->name.empty() ? std::string() : loginNameProblem(uid, error);
    if (!entry) return;
    login_name_ = entry->name;
    // The UUID that directory services derive from a local user id.
    user_ = fmt::format("{}{}{}FFFFEEEE-DDDD-CCCC-BBBB-AAAA{:08X}", login_name_,
                        upperCase(login_name_), static_cast<int>(uid), uid);
  }

  DeviceIdentifierPaths paths_;
  // Unset: not read yet, or not readable.
  std::optional<std::string> serial_;
  Stamp serial_stamp_;
  std::string serial_problem_;
  std::optional<std::string> volume_;
  std::array<Stamp, 2> volume_stamps_;
  std::string volume_problem_;
  uid_t uid_ = 0;
  std::string login_name_;
  std::string user_;
  std::string account_problem_;
};

}  // namespace

std::unique_ptr<DeviceIdentifiers> deviceIdentifiersFrom(DeviceIdentifierPaths paths) {
  return std::make_unique<LinuxDeviceIdentifiers>(std::move(paths));
}

std::unique_ptr<DeviceIdentifiers> systemDeviceIdentifiers() {
  return deviceIdentifiersFrom({});
}

}  // namespace talvane
