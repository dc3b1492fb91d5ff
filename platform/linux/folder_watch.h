#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/file_descriptor.h"

namespace talvane {

/// Notices changes of the files in some folders, by inotify(7), as well as a folder's coming and
/// going. A folder that is not there is looked out for in the nearest one above it. What lies
/// behind a symbolic link in the place of a file is not watched.
class FolderWatch {
 public:
  /// Absolute paths; only files whose names end in `suffix` count.
  FolderWatch(std::vector<std::string> folders, std::string suffix);

  /// Readable when something happened; -1 when the system gives out no more watches, and then
  /// nothing is noticed.
  [[nodiscard]] int descriptor() const { return descriptor_.get(); }

  /// Takes in what happened, without waiting. True: something of it counts.
  [[nodiscard]] bool readChanges();

 private:
  /// By watch number, why the folder is watched: for what has one of the names in it, and for its
  /// files if one of them is empty.
  using Watches = std::map<int, std::vector<std::string>>;

  void watchAll();
  void watch(const std::string& folder, Watches* watches) const;
  bool add(const std::string& folder, const std::string& name, Watches* watches) const;

  const std::vector<std::string> folders_;
  const std::string suffix_;
  const FileDescriptor descriptor_;
  Watches watches_;
};

}  // namespace talvane
