#pragma once

// Where an alert stands, in points; y grows downwards.

#include <optional>

#include "ui/kit/frame.h"

namespace talvane {

/// The gap between the panel and an alert beside it.
inline constexpr int alert_gap = 8;
/// The room left for the frame that a window manager draws around an alert: at each side and at the
/// lower edge, and at the upper edge.
inline constexpr int alert_frame_side = 6;
inline constexpr int alert_frame_top = 40;

/// The upper left corner of the frame of an alert whose content is `width` × `height`. It stands
/// beside the panel at the same height: at its left or, without room there, at its right. Without
/// room at either side, and without a panel, it stands in the middle of `area`, the part of the
/// screen that is free of bars. It never leaves `area` unless it is larger.
Place alertPlace(const Frame& area, const std::optional<Frame>& panel, int width, int height);

}  // namespace talvane
