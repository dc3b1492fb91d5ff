#pragma once

#include <string>

namespace talvane::macos {

/// Clears the general pasteboard and puts the text (UTF-8) on it as plain text, marked as concealed
/// so that clipboard managers do not store it (nspasteboard.org). False if the pasteboard refuses
/// it.
[[nodiscard]] bool copyConcealedText(const std::string& text);

}  // namespace talvane::macos
