#pragma once

#include <algorithm>
#include <cstdint>

namespace talvane {

/// How many seconds a copied passcode stays in the clipboard, where `most` is the setting
/// ClipboardSeconds, and it expires in so many seconds; 0: for good. A passcode that is about to
/// expire stays for a moment longer: servers take it, and the user is on the way to paste it.
inline std::int64_t secondsInClipboard(std::int64_t most, std::int64_t until_it_expires) {
  constexpr std::int64_t way_to_the_form = 10;
  if (most <= 0) return 0;
  return std::min(most, std::max(until_it_expires, way_to_the_form));
}

}  // namespace talvane
