#pragma once

// Folders and files, by system. Linux follows the XDG Base Directory Specification and ignores
// relative paths in its variables. Only `makePrivateFolder` creates a folder.

#include <string>
#include <string_view>

namespace talvane {

/// The user's home folder: $HOME, else the one in the password database.
std::string homeFolder();
/// The user's data and settings for this program.
std::string dataFolder();
std::string configFolder();
/// What the running desktop program shares with other starts of it: its lock and socket.
std::string runtimeFolder();
/// The running program's file, with all symbolic links resolved; empty if the system does not tell.
std::string executablePath();
/// What a program says and ends with when `executablePath` is empty.
inline constexpr const char* own_path_unknown =
    "The system does not tell where this program is, so it cannot find its modules and settings; "
    "check that /proc is there";  // and so cannot be translated
/// The running program's folder. It and the next two are empty if the system does not tell: a
/// program must not take the current folder instead, where anybody may have put a module.
std::string executableFolder();
/// The application bundle: `../share/softtoken` beside the executable's folder when that exists,
/// else the executable's folder; on macOS the .app folder.
std::string bundleFolder();
/// The catalogues of translated texts; empty if there are none on this system.
std::string localeFolder();
/// Loadable modules: code that only some commands need.
std::string moduleFolder();

/// `path` with a leading "~" or "~/" replaced by the home folder.
std::string withTildeExpanded(std::string_view path);

/// Whether the path is a folder or a link to one.
bool isFolder(const std::string& path);

/// Creates the folder and missing parents, with mode 0700. Returns false, with errno set, if the
/// folder does not exist afterwards.
[[nodiscard]] bool makePrivateFolder(const std::string& path);

}  // namespace talvane
