#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/file_descriptor.h"

namespace talvane {

/// Watches the files in some folders with inotify(7), and the folders themselves. For a missing
/// folder it watches the nearest existing parent. It does not watch the target of a symbolic link
/// in place of a file.
class FolderWatch {
 public:
  /// Takes absolute paths. Only files whose names end in `suffix` count.
  FolderWatch(std::vector<std::string> folders, std::string suffix);

  /// Readable when something happened; -1 if the system has no more watches, and then nothing is
  /// noticed.
  [[nodiscard]] int descriptor() const { return descriptor_.get(); }

  /// Reads the pending events, without blocking. Returns true if any of them counts.
  [[nodiscard]] bool readChanges();

 private:
  /// By watch number, the names to look for in the folder; an empty name stands for its files.
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
