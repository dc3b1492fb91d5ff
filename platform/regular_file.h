#pragma once

#include <string>

namespace talvane {

/// Reads a whole regular file into `*bytes`. Returns 0 or an errno; EISDIR or EINVAL for anything
/// but a regular file. Never blocks on a pipe or a device.
[[nodiscard]] int readRegularFile(const std::string& path, std::string* bytes);

}  // namespace talvane
