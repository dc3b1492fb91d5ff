#pragma once

namespace talvane {

/// Gives the system back what was freed and is kept by the C library for later, where it keeps any.
void releaseFreedMemory();

}  // namespace talvane
