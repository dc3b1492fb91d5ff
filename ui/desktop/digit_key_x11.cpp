#include "ui/desktop/digit_key.h"

namespace talvane {

int digitOnKey(const QKeyEvent& event) {
  // The X server's codes are Linux's KEY_1 to KEY_9 plus 8 (linux/input-event-codes.h).
  constexpr quint32 key_1 = 10;
  const quint32 code = event.nativeScanCode();
  return code >= key_1 && code < key_1 + 9 ? static_cast<int>(code - key_1) + 1 : 0;
}

}  // namespace talvane
