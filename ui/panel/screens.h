#pragma once

#include <vector>

#include "ui/panel/panel_geometry.h"

namespace talvane {

/// The screens of the desktop, the primary one first; none without a display.
std::vector<ScreenArea> desktopScreens();

}  // namespace talvane
