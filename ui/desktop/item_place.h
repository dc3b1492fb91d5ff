#pragma once

#include <optional>

#include "ui/kit/frame.h"

namespace talvane {

/// What is known about the place of the program's icon on the desktop, in points.
struct ItemPlace {
  std::optional<Frame> icon;
  std::optional<Place> pointer;  // at the click
  bool clicked = false;          // by the mouse or a key of the desktop
};

}  // namespace talvane
