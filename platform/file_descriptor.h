#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace talvane {

/// Owns an open file descriptor, or none, and closes it on destruction.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  /// Takes over the result of open(2) and the like; a negative number means none.
  explicit FileDescriptor(int number) : number_(number) {}
  FileDescriptor(FileDescriptor&& other) noexcept : number_(other.release()) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() { static_cast<void>(close()); }

  [[nodiscard]] bool isOpen() const { return number_ >= 0; }
  /// Negative when there is none.
  [[nodiscard]] int get() const { return number_; }
  /// Releases it: the caller must close it.
  [[nodiscard]] int release() { return std::exchange(number_, -1); }
  /// Closes it now. Returns 0, or the errno if data was not written.
  [[nodiscard]] int close() { return isOpen() && ::close(release()) != 0 ? errno : 0; }

 private:
  int number_ = -1;
};

}  // namespace talvane
