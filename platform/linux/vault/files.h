#pragma once

// The files of the embedded vault. They are private to their owner, created whole or not at all,
// and never written over.

#include <chrono>
#include <string>
#include <utility>

#include "engine/gateway.h"
#include "platform/keychain_service.h"

namespace talvane {

/// How a step went. `words`: the sentence for the user; empty where the status alone says enough.
struct [[nodiscard]] VaultOutcome {
  KeychainStatus status = KeychainStatus::ok;
  std::string words = {};

  [[nodiscard]] bool ok() const { return status == KeychainStatus::ok; }
};

struct VaultPaths {
  explicit VaultPaths(std::string vault_folder);

  std::string folder;
  std::string database;
  std::string log;    // SQLite's write-ahead log: changes that are not in `database` yet
  std::string index;  // the log's index
  std::string
      journal;  // SQLite's rollback journal; ours never has one, another's tool may leave it
  std::string key;
};

/// The end of the longest wait for another process.
using Deadline = std::chrono::steady_clock::time_point;
Deadline answerDeadline();

/// Sleeps a little, longer with each attempt (from 0 on). False, at once, when the deadline has
/// passed.
bool waitForOthers(Deadline deadline, int attempt);

/// What `error`, an errno, means for a file that was to be read; ENOENT is item_not_found.
VaultOutcome readingFailed(const std::string& path, int error);
/// What `error`, an errno, means for a file that was to be written or created.
VaultOutcome writingFailed(const std::string& path, int error);

/// A descriptor, closed with its owner.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept
      : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~FileDescriptor();

  [[nodiscard]] int get() const { return descriptor_; }
  [[nodiscard]] bool isOpen() const { return descriptor_ >= 0; }

 private:
  int descriptor_ = -1;
};

/// Opens the file for reading and takes it away from everyone but its owner. invalid_keychain: it
/// is not a regular file.
VaultOutcome openPrivateFile(const std::string& path, FileDescriptor* file);

/// Takes an existing file away from everyone but its owner, as far as that is allowed.
void makeFilePrivate(const std::string& path);

/// Reads from the file's start until `limit` bytes or its end.
VaultOutcome readFile(const std::string& path, const FileDescriptor& file, std::size_t limit,
                      SecretBytes* content);

/// Creates the folder and the missing ones above it, mode 0700, which last through a power cut.
VaultOutcome createFolder(const std::string& folder);

/// Creates the file with mode 0600 and the content, which is on the disk when this returns. A file
/// that is there already, or comes to be there meanwhile, stays as it is, and that is a success.
VaultOutcome createFileOnce(const std::string& folder, const std::string& path,
                            const Bytes& content);

/// Whether a file of some size can be written in the folder now; nothing is left of it.
VaultOutcome tryWriting(const std::string& folder);

bool fileExists(const std::string& path);

}  // namespace talvane
