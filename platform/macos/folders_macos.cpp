#include <CoreFoundation/CoreFoundation.h>
#include <limits.h>
#include <mach-o/dyld.h>
#include <stdlib.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/folders.h"
#include "platform/macos/core_foundation.h"
#include "platform/user_entry.h"

namespace talvane {
namespace {

using macos::Owned;

/// Absolute, without a final slash; empty for null.
std::string pathOf(CFURLRef url) {
  std::array<UInt8, PATH_MAX> path{};
  if (url == nullptr || !CFURLGetFileSystemRepresentation(url, true, path.data(),
                                                          static_cast<CFIndex>(path.size()))) {
    return {};
  }
  return reinterpret_cast<const char*>(path.data());
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
  std::optional<UserEntry> entry;
  static_cast<void>(readUserEntry(getuid(), &entry));
  return entry ? entry->home : "";
}

std::string dataFolder() {
  return applicationSupportFolder();
}

std::string configFolder() {
  return applicationSupportFolder();
}

std::string executablePath() {
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
  return resolved.data();
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

std::string localeFolder() {
  return {};
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
  const std::string executable = executableFolder();
  return executable.empty() ? executable : executable + "/../lib/softtoken";
}

}  // namespace talvane
