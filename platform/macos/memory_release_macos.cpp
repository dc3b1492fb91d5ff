#include "platform/memory_release.h"

namespace talvane {

// Nothing to do: the allocator returns memory by itself.
void releaseFreedMemory() {}

}  // namespace talvane
