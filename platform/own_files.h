#pragma once

// Files and folders that only the user may use. Refuses those of another user, and removes other
// users' permissions from the user's own.

#include <cstddef>
#include <string>

#include "engine/cleared.h"
#include "engine/gateway.h"
#include "platform/file_descriptor.h"

namespace talvane {

/// Opens a folder for reading; follows links. Returns 0 or an errno: ELOOP for a dangling link,
/// EPERM for another user's folder.
[[nodiscard]] int openOwnFolder(const std::string& path, FileDescriptor* folder);

/// Creates a missing folder and its parents, with mode 0700, and closes an existing one to other
/// users. Refuses another user's folder or link. Returns what is wrong and what to do, for the
/// user; empty on success.
[[nodiscard]] std::string makeOwnFolder(const std::string& path);

/// Reads a whole regular file. Returns 0 or an errno: ELOOP for a link, which is not followed;
/// EPERM for another user's file; EINVAL for a file that is not regular or is larger than `limit`.
[[nodiscard]] int readOwnFile(const std::string& path, std::size_t limit, Cleared<Bytes>* content);

}  // namespace talvane
