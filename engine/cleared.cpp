#include "engine/cleared.h"

#include <cstring>

namespace talvane {

void clearMemory(void* data, std::size_t size) {
  if (size == 0) return;
  std::memset(data, 0, size);
  // The barrier makes the memory observable, so that the write cannot be dropped as dead.
  asm volatile("" : : "r"(data) : "memory");
}

}  // namespace talvane
