#pragma once

// Where things lie, by system. On Linux as the XDG Base Directory Specification says; relative
// paths in its variables are ignored. Nothing here creates a folder but `makePrivateFolder`.

#include <string>
#include <string_view>

namespace talvane {

/// The user's home: $HOME, else the password database's.
std::string homeFolder();
/// The user's own data and settings of this program.
std::string dataFolder();
std::string configFolder();
/// The running program's file, all symbolic links resolved; empty when the system does not say.
std::string executablePath();
/// The running program's folder.
std::string executableFolder();
/// The application bundle: `../share/softtoken` beside the executable's folder when that exists,
/// else the executable's folder; on macOS the .app folder.
std::string bundleFolder();
/// Code that only some commands need, loaded at run time.
std::string moduleFolder();

/// `path` with a leading "~" or "~/" replaced by the home folder.
std::string withTildeExpanded(std::string_view path);

/// Whether there is a folder, or a link to one.
bool isFolder(const std::string& path);

/// Creates the folder and the missing ones above it, mode 0700. False, with errno: it is not there
/// afterwards.
[[nodiscard]] bool makePrivateFolder(const std::string& path);

}  // namespace talvane
