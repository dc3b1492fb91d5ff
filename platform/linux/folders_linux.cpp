#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "platform/folders.h"
#include "platform/user_entry.h"

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
  std::optional<UserEntry> entry;
  static_cast<void>(readUserEntry(getuid(), &entry));
  return entry ? entry->home : "/";
}

std::string dataFolder() {
  return baseFolder("XDG_DATA_HOME", "/.local/share") + "/softtoken";
}

std::string configFolder() {
  return baseFolder("XDG_CONFIG_HOME", "/.config") + "/softtoken";
}

std::string executablePath() {
  std::array<char, 4096> buffer{};
  const ssize_t length = readlink("/proc/self/exe", buffer.data(), buffer.size());
  if (length <= 0 || static_cast<std::size_t>(length) == buffer.size()) return {};
  std::string path(buffer.data(), static_cast<std::size_t>(length));
  // The kernel appends this if the file was replaced, for example by an update, after the program
  // started.
  constexpr std::string_view deleted = " (deleted)";
  struct stat status {};
  if (path.ends_with(deleted) && lstat(path.c_str(), &status) != 0) {
    path.resize(path.size() - deleted.size());
  }
  return path;
}

std::string bundleFolder() {
  const std::string executable = executableFolder();
  if (executable.empty()) return {};
  const std::string shared =
      executable.substr(0, executable.find_last_of('/')) + "/share/softtoken";
  return isFolder(shared) ? shared : executable;
}

std::string localeFolder() {
  const std::string executable = executableFolder();
  if (executable.empty()) return {};
  return executable.substr(0, executable.find_last_of('/')) + "/share/locale";
}

std::string moduleFolder() {
  const std::string executable = executableFolder();
  if (executable.empty()) return {};
  return executable.substr(0, executable.find_last_of('/')) + "/lib/softtoken";
}

}  // namespace talvane
