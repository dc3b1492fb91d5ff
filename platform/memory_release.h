#pragma once

#include <cstddef>

namespace talvane {

/// The size of a block of the C library's heap, at least what was asked for; 0 for null.
std::size_t allocatedSize(void* block);

/// Returns freed memory, which the C library may keep for later, to the system.
void releaseFreedMemory();

}  // namespace talvane
