#include "platform/memory_release.h"

#include <malloc/malloc.h>

#include <cstddef>

namespace talvane {

std::size_t allocatedSize(void* block) {
  return malloc_size(block);
}

// Nothing to do: the allocator returns memory by itself.
void releaseFreedMemory() {}

}  // namespace talvane
