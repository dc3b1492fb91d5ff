#include "platform/own_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

#include "engine/cleared.h"
#include "engine/gateway.h"
#include "platform/file_descriptor.h"
#include "platform/folders.h"
#include "platform/translation.h"

namespace talvane {
namespace {

int checkOwner(int descriptor, struct stat* status) {
  if (fstat(descriptor, status) != 0) return errno;
  return status->st_uid == geteuid() ? 0 : EPERM;
}

int closeToOthers(int descriptor, const struct stat& status, mode_t allowed) {
  if ((status.st_mode & 07777 & ~allowed) == 0) return 0;
  return fchmod(descriptor, status.st_mode & allowed) == 0 ? 0 : errno;
}

int readOpen(int file, std::size_t limit, Cleared<Bytes>* content) {
  struct stat status {};
  if (const int error = checkOwner(file, &status); error != 0) return error;
  if (!S_ISREG(status.st_mode)) return EINVAL;
  if (static_cast<std::uintmax_t>(status.st_size) > limit) return EINVAL;
  // If that is allowed: the disk may be read-only.
  static_cast<void>(closeToOthers(file, status, S_IRUSR | S_IWUSR));
  *content = Bytes(static_cast<std::size_t>(status.st_size), 0);
  Bytes& bytes = content->mutableValue();
  std::size_t size = 0;
  while (size < bytes.size()) {
    const ssize_t count = read(file, &bytes[size], bytes.size() - size);
    if (count == 0) break;
    if (count < 0 && errno != EINTR) return errno;
    size += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  }
  bytes.resize(size);
  return 0;
}

}  // namespace

int openOwnFolder(const std::string& path, FileDescriptor* folder) {
  struct stat status {};
  FileDescriptor opened(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!opened.isOpen()) {
    const int error = errno;
    // If it now exists and is no link, another process has just created it.
    const bool link = lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
    return error == ENOENT && link ? ELOOP : error;
  }
  int error = checkOwner(opened.get(), &status);
  if (error == 0) error = closeToOthers(opened.get(), status, S_IRWXU);
  if (error == 0) *folder = std::move(opened);
  return error;
}

std::string makeOwnFolder(const std::string& path) {
  struct stat status {};
  FileDescriptor folder;
  int error = 0;
  if (!makePrivateFolder(path)) {
    error = errno;
  } else if (lstat(path.c_str(), &status) != 0) {
    error = errno;
  } else {
    error = status.st_uid == geteuid() ? openOwnFolder(path, &folder) : EPERM;
  }
  if (error == 0) return {};
  if (error == EPERM) {
    return translatedWith(
        "The folder {} does not belong to you alone; remove it, or ask its owner to", path);
  }
  return translatedWith(
      "Cannot create the folder {} ({}); check what is in its place and who may write there", path,
      std::strerror(error));
}

int readOwnFile(const std::string& path, std::size_t limit, Cleared<Bytes>* content) {
  // Without O_NONBLOCK a pipe in its place would block forever.
  const FileDescriptor file(
      open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file.isOpen()) return errno == ENXIO ? EINVAL : errno;  // a socket
  return readOpen(file.get(), limit, content);
}

}  // namespace talvane
