#include "platform/folders.h"

#include <sys/stat.h>

#include <cerrno>

namespace talvane {

std::string withTildeExpanded(std::string_view path) {
  if (path != "~" && !path.starts_with("~/")) return std::string(path);
  return homeFolder() + std::string(path.substr(1));
}

bool makePrivateFolder(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) == 0) return S_ISDIR(status.st_mode);
  const std::size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return false;
  if (slash > 0 && !makePrivateFolder(path.substr(0, slash))) return false;
  return mkdir(path.c_str(), S_IRWXU) == 0 || errno == EEXIST;
}

}  // namespace talvane
