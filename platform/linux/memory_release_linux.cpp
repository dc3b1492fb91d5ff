#include "platform/memory_release.h"

#include <malloc.h>

#include <cstddef>
#include <cstdlib>

namespace talvane {

std::size_t allocatedSize(void* block) {
  return malloc_usable_size(block);
}

void releaseFreedMemory() {
#ifdef __GLIBC__
  malloc_trim(0);
#endif
}

}  // namespace talvane
