#pragma once

// The vault's database file below SQLite: its marks, and a lock that SQLite honours.

#include "platform/linux/vault/files.h"

namespace talvane {

/// The database file, opened beside SQLite's own connections to it.
class DatabaseFile {
 public:
  /// Opens the file and checks that it is a vault. item_not_found: there is none. invalid_keychain:
  /// it is something else, or damaged at its very start.
  static VaultOutcome open(const VaultPaths& paths, DatabaseFile* file);
  DatabaseFile() = default;
  DatabaseFile(const DatabaseFile&) = delete;
  DatabaseFile& operator=(const DatabaseFile&) = delete;
  /// Unlocks too.
  ~DatabaseFile();

  enum class Lock { held, busy, unsupported };
  /// Takes the lock that SQLite calls SHARED. While it is held, SQLite neither writes into a file
  /// without a log nor deletes the log of one. `busy`: another process kept it until the deadline.
  [[nodiscard]] Lock lock(Deadline deadline) const;

  /// Whether the file has all the pages that its header tells of; without a log it must.
  [[nodiscard]] bool isWhole() const;

  /// To be told of every SQLite connection: closing a descriptor of a file drops the locks of the
  /// whole process on it (fcntl(2)), SQLite's own among them, so ours stay open until there is
  /// none.
  static void connectionOpened();
  static void connectionClosed();

 private:
  FileDescriptor descriptor_;
};

}  // namespace talvane
