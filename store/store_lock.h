#pragma once

#include <chrono>
#include <string>

#include "platform/file_descriptor.h"
#include "platform/translation.h"

namespace talvane {

/// The per-user lock that a program holds while it changes the store, from its first read to its
/// last write. Waits a limited time for others. The lock of a program that died is free.
class StoreLock {
 public:
  /// Locks the file "store.lock" in `folder`, and creates a missing folder.
  explicit StoreLock(const std::string& folder,
                     std::chrono::milliseconds patience = std::chrono::seconds(2));

  /// False if another program holds the lock or the file cannot be created; `error` says which.
  [[nodiscard]] bool held() const { return file_.isOpen(); }
  /// Whether another program holds the lock.
  [[nodiscard]] bool busy() const { return busy_; }
  [[nodiscard]] const Words& error() const { return error_; }

 private:
  FileDescriptor file_;
  bool busy_ = false;
  Words error_;
};

}  // namespace talvane
