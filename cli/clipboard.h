#pragma once

#include <string>

namespace talvane {

/// Puts the text on the clipboard by the desktop's own tool (wl-copy, xclip, xsel, pbcopy). Throws
/// Failure when there is no desktop or none of the tools.
void copyToClipboard(const std::string& text);

}  // namespace talvane
