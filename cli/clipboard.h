#pragma once

#include <chrono>
#include <string>

#include "engine/cleared.h"

namespace talvane {

/// Copies a short text to the desktop's clipboard, marked as secret where the desktop knows that.
/// The clipboard is cleared after `longest`, unless that is 0, if it still holds the text then; a
/// program in the background does that. Throws Failure when the desktop or its tool is missing.
void copyToClipboard(const Cleared<std::string>& text, std::chrono::seconds longest);

}  // namespace talvane
