#pragma once

#include <chrono>
#include <string>

namespace talvane {

/// The per-user lock that whoever changes the store holds around the whole change, from its first
/// read to its last write. Waits for others for a while; a program that died holds nothing.
class StoreLock {
 public:
  /// Locks the file "store.lock" in `folder`, which is created when missing.
  explicit StoreLock(const std::string& folder,
                     std::chrono::milliseconds patience = std::chrono::seconds(10));
  ~StoreLock();
  StoreLock(const StoreLock&) = delete;
  StoreLock& operator=(const StoreLock&) = delete;

  /// False: another program holds it, or the file cannot be made; `error` says which.
  [[nodiscard]] bool held() const { return descriptor_ >= 0; }
  /// It is not held because another program holds it.
  [[nodiscard]] bool busy() const { return busy_; }
  [[nodiscard]] const std::string& error() const { return error_; }

 private:
  int descriptor_ = -1;
  bool busy_ = false;
  std::string error_;
};

}  // namespace talvane
