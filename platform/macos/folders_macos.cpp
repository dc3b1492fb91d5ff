#include "platform/folders.h"

#include <CoreFoundation/CoreFoundation.h>
#include <limits.h>
#include <mach-o/dyld.h>
#include <pwd.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <string>

#include "platform/macos/core_foundation.h"

namespace talvane {
namespace {

using macos::Owned;

/// Absolute, without a slash at the end; empty for null.
std::string pathOf(CFURLRef url) {
  std::array<UInt8, PATH_MAX> path{};
  if (url == nullptr || !CFURLGetFileSystemRepresentation(url, true, path.data(),
                                                          static_cast<CFIndex>(path.size()))) {
    return {};
  }
  return reinterpret_cast<const char*>(path.data());
}

bool isFolder(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string applicationSupportFolder() {
  return homeFolder() + "/Library/Application Support/softtoken";
}

}  // namespace

std::string homeFolder() {
  const char* home = getenv("HOME");
  if (home != nullptr && *home != '\0') {
    return home;
  }
  const passwd* entry = getpwuid(getuid());
  return entry != nullptr && entry->pw_dir != nullptr ? entry->pw_dir : "";
}

std::string dataFolder() {
  return applicationSupportFolder();
}

std::string configFolder() {
  return applicationSupportFolder();
}

std::string executableFolder() {
  std::uint32_t size = 0;
  _NSGetExecutablePath(nullptr, &size);
  std::string path(size, '\0');
  if (_NSGetExecutablePath(path.data(), &size) != 0) {
    return {};
  }
  std::array<char, PATH_MAX> resolved{};
  if (realpath(path.c_str(), resolved.data()) == nullptr) {
    return {};
  }
  path = resolved.data();
  return path.substr(0, path.rfind('/'));
}

std::string bundleFolder() {
  const CFBundleRef bundle = CFBundleGetMainBundle();
  if (bundle == nullptr) {
    return executableFolder();
  }
  const Owned<CFURLRef> url(CFBundleCopyBundleURL(bundle));
  const std::string path = pathOf(url.get());
  return path.empty() ? executableFolder() : path;
}

std::string moduleFolder() {
  if (const CFBundleRef bundle = CFBundleGetMainBundle()) {
    const Owned<CFURLRef> url(CFBundleCopyBuiltInPlugInsURL(bundle));
    std::string path = pathOf(url.get());
    if (isFolder(path)) {
      return path;
    }
  }
  // Not in a .app folder: the build tree, or an installation below a prefix.
  return executableFolder() + "/../lib/softtoken";
}

}  // namespace talvane
