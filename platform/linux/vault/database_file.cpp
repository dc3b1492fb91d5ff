#include "platform/linux/vault/database_file.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <vector>

#include "platform/linux/vault/database.h"

namespace talvane {
namespace {

// SQLite's file format: the header's size and the places of what we look at in it.
constexpr std::size_t header_size = 100;
constexpr std::string_view format_mark("SQLite format 3\0", 16);
constexpr std::size_t write_version_at = 18;
constexpr std::size_t read_version_at = 19;
constexpr std::uint8_t write_ahead_version = 2;
constexpr std::size_t page_size_at = 16;
constexpr std::size_t page_count_at = 28;
constexpr std::size_t user_version_at = 60;
constexpr std::size_t application_at = 68;

// SQLite's file format, "Lock-Byte Page": the bytes that a reader locks.
constexpr off_t shared_lock_start = 0x40000002;
constexpr off_t shared_lock_size = 510;

constexpr std::uint32_t application = 0x54614B56;
constexpr std::uint32_t version = 1;

std::uint32_t bigEndian(const Bytes& bytes, std::size_t at, std::size_t size = 4) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < size; ++i) number = number << 8U | bytes[at + i];
  return number;
}

VaultOutcome checkMarks(const VaultPaths& paths, const Bytes& header) {
  if (header.size() < header_size ||
      !std::equal(format_mark.begin(), format_mark.end(), header.begin(),
                  [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; }) ||
      bigEndian(header, application_at) != application) {
    return {KeychainStatus::invalid_keychain,
            paths.database +
                " is not a vault of this program, or is damaged; move it away or "
                "restore it from a backup"};
  }
  if (bigEndian(header, user_version_at) != version) {
    return {KeychainStatus::invalid_keychain,
            paths.database + " was made by another version of this program; use that version"};
  }
  return {};
}

struct flock sharedLock(short type) {
  struct flock range {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  range.l_start = shared_lock_start;
  range.l_len = shared_lock_size;
  return range;
}

int connections = 0;

std::vector<FileDescriptor>& waitingForClose() {
  static std::vector<FileDescriptor> descriptors;
  return descriptors;
}

}  // namespace

VaultOutcome DatabaseFile::open(const VaultPaths& paths, DatabaseFile* file) {
  VaultOutcome outcome = openPrivateFile(paths.database, &file->descriptor_);
  if (outcome.status == KeychainStatus::item_not_found && fileExists(paths.log)) {
    return {KeychainStatus::invalid_keychain,
            paths.database + " is missing though " + paths.log +
                " is there; restore both from a backup, or move the latter away"};
  }
  if (!outcome.ok()) return outcome;
  SecretBytes header;
  outcome = readFile(paths.database, file->descriptor_, header_size, &header);
  if (outcome.ok()) outcome = checkMarks(paths, header);
  if (!outcome.ok()) return outcome;
  makeFilePrivate(paths.log);
  makeFilePrivate(paths.index);
  return {};
}

DatabaseFile::~DatabaseFile() {
  if (connections == 0 || !descriptor_.isOpen()) return;
  struct flock range = sharedLock(F_UNLCK);
  static_cast<void>(fcntl(descriptor_.get(), F_OFD_SETLK, &range));
  waitingForClose().push_back(std::move(descriptor_));
}

DatabaseFile::Lock DatabaseFile::lock(Deadline deadline) const {
  struct flock range = sharedLock(F_RDLCK);
  for (int attempt = 0; fcntl(descriptor_.get(), F_OFD_SETLK, &range) != 0; ++attempt) {
    if (errno == EINTR) continue;
    if (errno != EAGAIN && errno != EACCES) return Lock::unsupported;
    if (!waitForOthers(deadline, attempt)) return Lock::busy;
  }
  return Lock::held;
}

bool DatabaseFile::isWhole() const {
  Bytes header(header_size);
  struct stat status {};
  if (pread(descriptor_.get(), header.data(), header_size, 0) !=
          static_cast<ssize_t>(header_size) ||
      fstat(descriptor_.get(), &status) != 0) {
    return false;
  }
  std::uint64_t page_size = bigEndian(header, page_size_at, 2);
  if (page_size == 1) page_size = 65536;
  return static_cast<std::uint64_t>(status.st_size) >= page_size * bigEndian(header, page_count_at);
}

void DatabaseFile::connectionOpened() {
  ++connections;
}

void DatabaseFile::connectionClosed() {
  if (--connections == 0) waitingForClose().clear();
}

VaultOutcome lookIntoVault(const VaultPaths& paths, Deadline deadline,
                           const std::function<VaultOutcome(VaultDatabase&)>& look) {
  const auto lookAs = [&](VaultDatabase::Access access) {
    std::unique_ptr<VaultDatabase> database;
    VaultOutcome outcome = VaultDatabase::open(paths, access, deadline, &database);
    return outcome.ok() ? look(*database) : outcome;
  };
  {
    DatabaseFile file;
    if (VaultOutcome outcome = DatabaseFile::open(paths, &file); !outcome.ok()) return outcome;
    // SQLite itself would create a log and its index to read, and remove them. Without a log, all
    // is in the file, and none can come and go again while the lock is held: so when there is still
    // none afterwards, nobody has written.
    const DatabaseFile::Lock lock = file.lock(deadline);
    if (lock == DatabaseFile::Lock::busy) return {KeychainStatus::not_responding};
    if (lock == DatabaseFile::Lock::held && !fileExists(paths.log) && !fileExists(paths.journal)) {
      VaultOutcome outcome = {KeychainStatus::invalid_keychain};
      if (file.isWhole()) outcome = lookAs(VaultDatabase::Access::frozen);
      if (!fileExists(paths.log)) return outcome;
    }
  }
  return lookAs(VaultDatabase::Access::reading);
}

VaultOutcome openVaultForChange(const VaultPaths& paths, Deadline deadline,
                                std::unique_ptr<VaultDatabase>* database) {
  {
    DatabaseFile file;
    VaultOutcome outcome = DatabaseFile::open(paths, &file);
    if (!outcome.ok()) return outcome;
    const DatabaseFile::Lock lock = file.lock(deadline);
    if (lock == DatabaseFile::Lock::busy) return {KeychainStatus::not_responding};
    if (lock == DatabaseFile::Lock::held && !fileExists(paths.log) && !file.isWhole() &&
        !fileExists(paths.log)) {
      return {KeychainStatus::invalid_keychain};
    }
  }
  VaultOutcome outcome =
      VaultDatabase::open(paths, VaultDatabase::Access::changing, deadline, database);
  if (outcome.ok()) outcome = (*database)->begin();
  if (outcome.ok()) outcome = (*database)->checkStructure();
  return outcome;
}

VaultOutcome emptyVault(const VaultPaths& paths, Bytes* image) {
  constexpr const char* statements =
      "PRAGMA page_size=4096;"
      "CREATE TABLE items(account TEXT NOT NULL, service TEXT NOT NULL, sealed BLOB NOT NULL,"
      " PRIMARY KEY(account, service)) WITHOUT ROWID, STRICT;"
      "CREATE TABLE key_check(sealed BLOB NOT NULL) STRICT;";
  sqlite3* memory = nullptr;
  int code =
      sqlite3_open_v2(":memory:", &memory, SQLITE_OPEN_READWRITE | SQLITE_OPEN_MEMORY, nullptr);
  const std::string marks = "PRAGMA application_id=" + std::to_string(application) +
                            "; PRAGMA user_version=" + std::to_string(version);
  if (code == SQLITE_OK) code = sqlite3_exec(memory, statements, nullptr, nullptr, nullptr);
  if (code == SQLITE_OK) code = sqlite3_exec(memory, marks.c_str(), nullptr, nullptr, nullptr);
  sqlite3_int64 size = 0;
  unsigned char* bytes = code == SQLITE_OK ? sqlite3_serialize(memory, "main", &size, 0) : nullptr;
  if (bytes != nullptr) image->assign(bytes, bytes + size);
  sqlite3_free(bytes);
  sqlite3_close(memory);
  if (image->size() < header_size) {
    return {KeychainStatus::io_error,
            paths.database + " could not be made; free some memory and try again"};
  }
  // A database in memory cannot be switched to a write-ahead log; these two bytes are the switch.
  (*image)[write_version_at] = write_ahead_version;
  (*image)[read_version_at] = write_ahead_version;
  return {};
}

}  // namespace talvane
