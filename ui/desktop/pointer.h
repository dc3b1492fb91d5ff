#pragma once

#include <optional>

#include "ui/kit/frame.h"

namespace talvane {

/// Where the mouse is on the desktop, in points; nullopt where the display does not tell.
std::optional<Place> pointer();

}  // namespace talvane
