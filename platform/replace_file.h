#pragma once

// Files that change as a whole. A call writes a draft beside the file ("NAME.draft-XXXXXX"), syncs
// it, gives it the file's name, and syncs the folder: whoever reads, also after a crash or a power
// cut, sees the old file or the new one.

#include <sys/types.h>

#include <string>
#include <string_view>

namespace talvane {

/// Puts a file with this content and mode, whatever the umask, at `path`, in place of the one that
/// may be there. The folder must exist. A symbolic link at `path` is replaced, not followed.
///
/// 0, or an errno, ENOSPC, EDQUOT and EFBIG for want of room; the old file is then untouched and no
/// draft is left. Only when the folder's sync fails the new file is in place, and a power cut may
/// bring back the old one.
[[nodiscard]] int replaceFile(const std::string& path, std::string_view content,
                              mode_t mode = 0600);

/// The same for a file that is not there yet: EEXIST when there is anything of that name, or comes
/// to be meanwhile; it stays as it is.
[[nodiscard]] int createFile(const std::string& path, std::string_view content, mode_t mode = 0600);

/// Removes the drafts of `path` that calls left when their processes were killed. Only for a caller
/// who knows that no process is in such a call now.
void removeDrafts(const std::string& path);

}  // namespace talvane
