#pragma once

// Files and folders that are the user's alone. Another user's is refused, and others lose what
// rights they have to the user's.

#include <cstddef>
#include <string>

#include "engine/cleared.h"
#include "engine/gateway.h"
#include "platform/file_descriptor.h"

namespace talvane {

/// Opens a folder for reading. A link is followed to where it leads. 0, or the errno that says why
/// not: ELOOP when it leads nowhere, EPERM for another user's.
[[nodiscard]] int openOwnFolder(const std::string& path, FileDescriptor* folder);

/// Reads a whole regular file. 0, or the errno that says why not: ELOOP for a link, which is not
/// followed, EPERM for another user's, EINVAL for what is no regular file or larger than `limit`.
[[nodiscard]] int readOwnFile(const std::string& path, std::size_t limit, Cleared<Bytes>* content);

}  // namespace talvane
