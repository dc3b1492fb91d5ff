#pragma once

#include <chrono>
#include <string>

namespace talvane {

/// The per-user lock that a program holds while it changes the store, from its first read to its
/// last write. Waits a limited time for others. The lock of a program that died is free.
class StoreLock {
 public:
  /// Locks the file "store.lock" in `folder`, and creates a missing folder.
  explicit StoreLock(const std::string& folder,
                     std::chrono::milliseconds patience = std::chrono::seconds(10));
  ~StoreLock();
  StoreLock(const StoreLock&) = delete;
  StoreLock& operator=(const StoreLock&) = delete;

  /// False if another program holds the lock or the file cannot be created; `error` says which.
  [[nodiscard]] bool held() const { return descriptor_ >= 0; }
  /// Whether another program holds the lock.
  [[nodiscard]] bool busy() const { return busy_; }
  [[nodiscard]] const std::string& error() const { return error_; }

 private:
  int descriptor_ = -1;
  bool busy_ = false;
  std::string error_;
};

}  // namespace talvane
