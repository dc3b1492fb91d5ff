#include <algorithm>
#include <array>
#include <iterator>

#include "ui/desktop/digit_key.h"

namespace talvane {

int digitOnKey(const QKeyEvent& event) {
  // kVK_ANSI_1 to kVK_ANSI_9 (HIToolbox/Events.h).
  constexpr std::array<quint32, 9> codes{0x12, 0x13, 0x14, 0x15, 0x17, 0x16, 0x1A, 0x1C, 0x19};
  const auto found = std::find(codes.begin(), codes.end(), event.nativeVirtualKey());
  return found == codes.end() ? 0 : static_cast<int>(std::distance(codes.begin(), found)) + 1;
}

}  // namespace talvane
