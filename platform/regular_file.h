#pragma once

#include <sys/stat.h>

#include <string>

namespace talvane {

/// Reads a whole regular file into `*bytes`. Returns 0 or an errno; EISDIR or EINVAL for anything
/// but a regular file. Never blocks on a pipe or a device. Once the file is open, `status` (may be
/// null) tells whose it is.
[[nodiscard]] int readRegularFile(const std::string& path, std::string* bytes,
                                  struct stat* status = nullptr);

}  // namespace talvane
