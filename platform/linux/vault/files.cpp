#include "platform/linux/vault/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <thread>

namespace talvane {
namespace {

constexpr mode_t private_mode = S_IRUSR | S_IWUSR;

std::string errorText(int error) {
  return std::generic_category().message(error);
}

VaultOutcome writeAll(const std::string& path, const FileDescriptor& file, const Bytes& content) {
  std::size_t written = 0;
  while (written < content.size()) {
    const ssize_t count = write(file.get(), content.data() + written, content.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return writingFailed(path, errno);
    written += static_cast<std::size_t>(count);
  }
  return {};
}

// Makes the folder's entries last through a power cut.
void syncFolder(const std::string& folder) {
  const FileDescriptor descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (descriptor.isOpen()) static_cast<void>(fsync(descriptor.get()));
}

// Gives the file its final name. EEXIST: the name is taken.
int renameWithoutReplacing(const std::string& from, const std::string& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // A file system without that rename.
  if (link(from.c_str(), to.c_str()) != 0) return errno;
  unlink(from.c_str());
  return 0;
}

}  // namespace

VaultPaths::VaultPaths(std::string vault_folder)
    : folder(std::move(vault_folder)),
      database(folder + "/vault.sqlite"),
      log(database + "-wal"),
      index(database + "-shm"),
      journal(database + "-journal"),
      key(folder + "/vault.key") {}

Deadline answerDeadline() {
  return std::chrono::steady_clock::now() + std::chrono::seconds(2);
}

bool waitForOthers(Deadline deadline, int attempt) {
  using std::chrono::microseconds;
  const auto now = std::chrono::steady_clock::now();
  if (now >= deadline) return false;
  const microseconds pause(100 << std::min(attempt, 4));
  const auto left = std::chrono::duration_cast<microseconds>(deadline - now);
  std::this_thread::sleep_for(std::min(pause, left + microseconds(1)));
  return true;
}

VaultOutcome readingFailed(const std::string& path, int error) {
  switch (error) {
    case ENOENT:
      return {KeychainStatus::item_not_found};
    case EACCES:
    case EPERM:
    case ENOTDIR:
    case ELOOP:
    case ENAMETOOLONG:
      return {KeychainStatus::not_available, path + " cannot be read (" + errorText(error) +
                                                 "); check who owns it and its folder"};
    default:
      return {KeychainStatus::io_error,
              path + " could not be read (" + errorText(error) + "); check the disk and try again"};
  }
}

VaultOutcome writingFailed(const std::string& path, int error) {
  switch (error) {
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return {KeychainStatus::disk_full};
    case EACCES:
    case EPERM:
    case EROFS:
      return {KeychainStatus::write_permission};
    case ENOTDIR:
    case ELOOP:
    case ENAMETOOLONG:
      return {KeychainStatus::not_available,
              path + " cannot be created (" + errorText(error) + "); check the path of its folder"};
    default:
      return {KeychainStatus::io_error, path + " could not be written (" + errorText(error) +
                                            "); check the disk and try again"};
  }
}

FileDescriptor::~FileDescriptor() {
  if (descriptor_ >= 0) close(descriptor_);
}

VaultOutcome openPrivateFile(const std::string& path, FileDescriptor* file) {
  // Without O_NONBLOCK a pipe of that name would hold us for ever.
  FileDescriptor opened(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!opened.isOpen()) return readingFailed(path, errno);
  struct stat status {};
  if (fstat(opened.get(), &status) != 0) return readingFailed(path, errno);
  if (!S_ISREG(status.st_mode)) {
    return {KeychainStatus::invalid_keychain,
            path + " is not a file; move it away and restore the file from a backup"};
  }
  if ((status.st_mode & ALLPERMS & ~private_mode) != 0) {
    static_cast<void>(fchmod(opened.get(), status.st_mode & private_mode));
  }
  *file = std::move(opened);
  return {};
}

void makeFilePrivate(const std::string& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return;
  if ((status.st_mode & ALLPERMS & ~private_mode) == 0) return;
  static_cast<void>(chmod(path.c_str(), status.st_mode & private_mode));
}

VaultOutcome readFile(const std::string& path, const FileDescriptor& file, std::size_t limit,
                      SecretBytes* content) {
  SecretBytes bytes(Bytes(limit, 0));
  std::size_t size = 0;
  while (size < limit) {
    const ssize_t count = pread(file.get(), bytes.mutableValue().data() + size, limit - size,
                                static_cast<off_t>(size));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return readingFailed(path, errno);
    if (count == 0) break;
    size += static_cast<std::size_t>(count);
  }
  bytes.mutableValue().resize(size);
  *content = std::move(bytes);
  return {};
}

VaultOutcome createFolder(const std::string& folder) {
  if (fileExists(folder)) return {};
  const std::size_t slash = folder.find_last_of('/');
  const std::string above = slash == std::string::npos ? "." : folder.substr(0, slash + 1);
  if (slash != std::string::npos && slash > 0) {
    VaultOutcome outcome = createFolder(folder.substr(0, slash));
    if (!outcome.ok()) return outcome;
  }
  if (mkdir(folder.c_str(), S_IRWXU) == 0) {
    // Whatever the umask took from it.
    static_cast<void>(chmod(folder.c_str(), S_IRWXU));
    syncFolder(above);
  } else if (errno != EEXIST) {
    return writingFailed(folder, errno);
  }
  return {};
}

VaultOutcome createFileOnce(const std::string& folder, const std::string& path,
                            const Bytes& content) {
  if (fileExists(path)) return {};
  std::string draft = path + ".XXXXXX";
  const FileDescriptor file(mkostemp(draft.data(), O_CLOEXEC));
  if (!file.isOpen()) return writingFailed(path, errno);
  VaultOutcome outcome = writeAll(path, file, content);
  if (outcome.ok() && fchmod(file.get(), private_mode) != 0) outcome = writingFailed(path, errno);
  if (outcome.ok() && fsync(file.get()) != 0) outcome = writingFailed(path, errno);
  if (outcome.ok()) {
    const int error = renameWithoutReplacing(draft, path);
    if (error == 0) {
      syncFolder(folder);
      return {};
    }
    if (error != EEXIST) outcome = writingFailed(path, error);
  }
  unlink(draft.c_str());
  return outcome;
}

VaultOutcome tryWriting(const std::string& folder) {
  std::string trial = folder + "/vault.trial.XXXXXX";
  const FileDescriptor file(mkostemp(trial.data(), O_CLOEXEC));
  if (!file.isOpen()) return writingFailed(folder, errno);
  unlink(trial.c_str());
  constexpr std::size_t trial_size = 64 * 1024;
  return writeAll(folder, file, Bytes(trial_size, 0));
}

bool fileExists(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

}  // namespace talvane
