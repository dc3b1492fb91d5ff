#include "platform/linux/folder_watch.h"

#include <sys/inotify.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/folders.h"

namespace talvane {
namespace {

// One mask for all reasons: a folder watched for two keeps a single watch.
constexpr std::uint32_t events = IN_ATTRIB | IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVE |
                                 IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

std::string folderAbove(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string nameIn(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

}  // namespace

FolderWatch::FolderWatch(std::vector<std::string> folders, std::string suffix)
    : folders_(std::move(folders)),
      suffix_(std::move(suffix)),
      descriptor_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  watchAll();
}

bool FolderWatch::readChanges() {
  if (!descriptor_.isOpen()) return false;
  bool changed = false;
  bool folders_changed = false;
  std::array<char, 65536> buffer;
  // A limit, so that a program that keeps writing cannot block this one.
  for (int round = 0; round < 16; ++round) {
    const ssize_t length = read(descriptor_.get(), buffer.data(), buffer.size());
    if (length <= 0) break;
    const auto end = static_cast<std::size_t>(length);
    for (std::size_t at = 0; at + sizeof(inotify_event) <= end;) {
      inotify_event event{};
      std::memcpy(&event, buffer.data() + at, sizeof event);
      // Padded with NULs.
      const std::string_view name =
          event.len > 0 ? buffer.data() + at + sizeof event : std::string_view();
      at += sizeof event + event.len;
      if ((event.mask & IN_Q_OVERFLOW) != 0) changed = folders_changed = true;
      const auto watched = watches_.find(event.wd);
      if (watched == watches_.end()) continue;
      for (const std::string& watched_name : watched->second) {
        if (name.empty() || name == watched_name) changed = folders_changed = true;
        if (watched_name.empty() && name.ends_with(suffix_)) changed = true;
      }
    }
  }
  // Watch before anyone reads the folders, so that no later change is missed.
  if (folders_changed) watchAll();
  return changed;
}

void FolderWatch::watchAll() {
  if (!descriptor_.isOpen()) return;
  Watches watches;
  for (const std::string& folder : folders_) watch(folder, &watches);
  for (const auto& [number, names] : watches_) {
    if (!watches.contains(number)) inotify_rm_watch(descriptor_.get(), number);
  }
  watches_ = std::move(watches);
}

void FolderWatch::watch(const std::string& folder, Watches* watches) const {
  // A missing folder may appear just before the watch on its parent begins, so try again; only a
  // few times, because some folders cannot be watched.
  for (int attempt = 0; attempt < 4; ++attempt) {
    const bool there = add(folder, "", watches);
    std::string path = folder;
    while (path != "/" && !add(folderAbove(path), nameIn(path), watches)) path = folderAbove(path);
    if (there || !isFolder(path)) return;
  }
}

bool FolderWatch::add(const std::string& folder, const std::string& name, Watches* watches) const {
  const int number = inotify_add_watch(descriptor_.get(), folder.c_str(), events);
  if (number < 0) return false;
  std::vector<std::string>& names = (*watches)[number];
  if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
  return true;
}

}  // namespace talvane
