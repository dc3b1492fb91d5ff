#pragma once

#include <string>

namespace talvane {

/// Copies the text to the clipboard with the desktop's tool (wl-copy, xclip, xsel, pbcopy). Throws
/// Failure when the desktop or the tool is missing.
void copyToClipboard(const std::string& text);

}  // namespace talvane
