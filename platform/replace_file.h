#pragma once

// Replaces files atomically. A call writes a draft beside the file ("NAME.draft-XXXXXX"), syncs it,
// renames it to the file, and syncs the folder. Readers see the old file or the new one, even after
// a crash or a power cut.

#include <sys/types.h>

#include <string>
#include <string_view>

namespace talvane {

/// Writes a file with this content and mode, regardless of the umask, to `path`, and replaces any
/// file there. The folder must exist. A symbolic link at `path` is replaced, not followed.
///
/// Returns 0 or an errno; ENOSPC, EDQUOT and EFBIG mean that there is no room. On failure the old
/// file is unchanged and no draft is left. Only if the folder's sync fails is the new file in
/// place; a power cut may then bring back the old one.
[[nodiscard]] int replaceFile(const std::string& path, std::string_view content,
                              mode_t mode = 0600);

/// The same for a new file: EEXIST if anything of that name exists or appears meanwhile; it is left
/// unchanged.
[[nodiscard]] int createFile(const std::string& path, std::string_view content, mode_t mode = 0600);

/// Removes the drafts of `path` that killed processes left. Call it only when no process can be
/// replacing `path`.
void removeDrafts(const std::string& path);

}  // namespace talvane
