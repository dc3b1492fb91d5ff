#include "platform/memory_release.h"

namespace talvane {

// Nothing to do: the allocator gives it back by itself.
void releaseFreedMemory() {}

}  // namespace talvane
