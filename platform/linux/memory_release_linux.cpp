#include "platform/memory_release.h"

#include <cstdlib>
#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace talvane {

void releaseFreedMemory() {
#ifdef __GLIBC__
  malloc_trim(0);
#endif
}

}  // namespace talvane
