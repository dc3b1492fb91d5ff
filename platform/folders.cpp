#include "platform/folders.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/file_descriptor.h"

namespace talvane {
namespace {

// Makes the folder's entries survive a power cut.
void syncFolder(const std::string& path) {
  const FileDescriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.isOpen()) static_cast<void>(fsync(folder.get()));
}

}  // namespace

std::string withTildeExpanded(std::string_view path) {
  if (path != "~" && !path.starts_with("~/")) return std::string(path);
  return homeFolder() + std::string(path.substr(1));
}

std::string runtimeFolder() {
  const char* folder = std::getenv("XDG_RUNTIME_DIR");
  return folder != nullptr && folder[0] == '/' ? std::string(folder) + "/softtoken"
                                               : dataFolder() + "/run";
}

std::string executableFolder() {
  const std::string path = executablePath();
  if (path.empty()) return {};
  return path.substr(0, std::max<std::size_t>(path.find_last_of('/'), 1));
}

bool isFolder(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool makePrivateFolder(const std::string& path) {
  if (isFolder(path)) return true;
  const std::size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return false;
  if (slash > 0 && !makePrivateFolder(path.substr(0, slash))) return false;
  if (mkdir(path.c_str(), S_IRWXU) == 0) {
    if (chmod(path.c_str(), S_IRWXU) != 0) return false;  // regardless of the umask
    syncFolder(path.substr(0, slash + 1));
    return true;
  }
  // Another program may have created it meanwhile.
  const int error = errno;
  if (isFolder(path)) return true;
  errno = error;
  return false;
}

}  // namespace talvane
