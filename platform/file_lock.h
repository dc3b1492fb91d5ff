#pragma once

#include <chrono>

namespace talvane {

/// Locks an open file or folder (flock(2)) against all other descriptors of it. Waits up to
/// `patience` while another one holds the lock. Returns 0; EWOULDBLOCK if it still does; or the
/// errno of a file system that cannot lock it. Closing the descriptor unlocks it.
[[nodiscard]] int lockFile(int descriptor, std::chrono::milliseconds patience);

}  // namespace talvane
