#include "platform/replace_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "platform/file_descriptor.h"

namespace talvane {
namespace {

constexpr std::string_view draft_mark = ".draft-";
constexpr std::string_view draft_pattern = "XXXXXX";

std::size_t nameAt(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? 0 : slash + 1;
}

std::string folderOf(const std::string& path) {
  const std::size_t name = nameAt(path);
  return name == 0 ? "." : path.substr(0, name);
}

int writeAll(int descriptor, std::string_view content) {
  while (!content.empty()) {
    const ssize_t count = write(descriptor, content.data(), content.size());
    if (count >= 0) {
      content.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

// Renames the draft to the file, unless that exists.
int takeFreeName(const std::string& draft, const std::string& path) {
  if (link(draft.c_str(), path.c_str()) == 0) {
    unlink(draft.c_str());
    return 0;
  }
  if (errno != EPERM && errno != ENOTSUP && errno != ENOSYS) return errno;
  // The file system has no hard links.
  struct stat status {};
  if (lstat(path.c_str(), &status) == 0) return EEXIST;
  return rename(draft.c_str(), path.c_str()) == 0 ? 0 : errno;
}

int takeName(const std::string& draft, const std::string& path) {
  return rename(draft.c_str(), path.c_str()) == 0 ? 0 : errno;
}

int putFile(const std::string& path, std::string_view content, mode_t mode,
            int (*take_name)(const std::string& draft, const std::string& path)) {
  const FileDescriptor folder(open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder.isOpen()) return errno;
  std::string draft = path;
  draft.append(draft_mark).append(draft_pattern);
  FileDescriptor file(mkostemp(draft.data(), O_CLOEXEC));
  if (!file.isOpen()) return errno;
  int error = writeAll(file.get(), content);
  if (error == 0 && fchmod(file.get(), mode) != 0) error = errno;
  if (error == 0 && fsync(file.get()) != 0) error = errno;
  if (error == 0) error = file.close();
  if (error == 0) error = take_name(draft, path);
  if (error != 0) {
    unlink(draft.c_str());
    return error;
  }
  // EINVAL: the file system does not sync folders.
  return fsync(folder.get()) == 0 || errno == EINVAL ? 0 : errno;
}

}  // namespace

int replaceFile(const std::string& path, std::string_view content, mode_t mode) {
  return putFile(path, content, mode, takeName);
}

int createFile(const std::string& path, std::string_view content, mode_t mode) {
  return putFile(path, content, mode, takeFreeName);
}

void removeDrafts(const std::string& path) {
  const std::string folder = folderOf(path);
  const std::string start = path.substr(nameAt(path)).append(draft_mark);
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(folder.c_str()), closedir);
  if (entries == nullptr) return;
  while (const dirent* entry = readdir(entries.get())) {
    const std::string_view name = entry->d_name;
    if (!name.starts_with(start) || name.size() != start.size() + draft_pattern.size()) continue;
    unlink((folder + '/').append(name).c_str());
  }
}

}  // namespace talvane
