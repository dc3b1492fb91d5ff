#pragma once

namespace talvane {

/// Returns freed memory, which the C library may keep for later, to the system.
void releaseFreedMemory();

}  // namespace talvane
