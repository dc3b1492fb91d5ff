#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <vector>

#include "platform/folders.h"

namespace talvane {
namespace {

std::string baseFolder(const char* variable, const char* below_home) {
  const char* value = std::getenv(variable);
  if (value != nullptr && value[0] == '/') return value;
  return homeFolder() + below_home;
}

}  // namespace

std::string homeFolder() {
  const char* home = std::getenv("HOME");
  if (home != nullptr && home[0] == '/') return home;
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr) {
    return entry.pw_dir;
  }
  return "/";
}

std::string dataFolder() {
  return baseFolder("XDG_DATA_HOME", "/.local/share") + "/softtoken";
}

std::string configFolder() {
  return baseFolder("XDG_CONFIG_HOME", "/.config") + "/softtoken";
}

std::string executableFolder() {
  std::array<char, 4096> path{};
  const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
  if (length <= 0) return ".";
  const std::string executable(path.data(), static_cast<std::size_t>(length));
  return executable.substr(0, executable.find_last_of('/'));
}

std::string bundleFolder() {
  const std::string executable = executableFolder();
  const std::string shared =
      executable.substr(0, executable.find_last_of('/')) + "/share/softtoken";
  struct stat status {};
  return stat(shared.c_str(), &status) == 0 && S_ISDIR(status.st_mode) ? shared : executable;
}

std::string moduleFolder() {
  const std::string executable = executableFolder();
  return executable.substr(0, executable.find_last_of('/')) + "/lib/softtoken";
}

}  // namespace talvane
