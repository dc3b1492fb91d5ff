#pragma once

#include <string>

namespace talvane {

/// Chooses the toolkit's platform and checks that the display can be opened. Returns an error for
/// the user; empty on success.
std::string prepareDisplay();

}  // namespace talvane
