#pragma once

#include <string>

namespace talvane {

/// Chooses the toolkit's platform, and makes sure that the display can be reached. Returns why not,
/// for the user.
std::string prepareDisplay();

}  // namespace talvane
