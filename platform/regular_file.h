#pragma once

#include <string>

namespace talvane {

/// Reads a whole regular file into `*bytes`. 0, or the errno that says why not; EISDIR and EINVAL
/// for what is no regular file: a pipe or a device in a file's place is not waited for.
[[nodiscard]] int readRegularFile(const std::string& path, std::string* bytes);

}  // namespace talvane
