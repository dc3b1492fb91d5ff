#pragma once

// For messages.

#include <ostream>

#include "ui/kit/frame.h"

namespace talvane {

inline std::ostream& operator<<(std::ostream& out, const Frame& frame) {
  return out << '(' << frame.x << ", " << frame.y << ", " << frame.width << ", " << frame.height
             << ')';
}

inline std::ostream& operator<<(std::ostream& out, const Place& place) {
  return out << '(' << place.x << ", " << place.y << ')';
}

}  // namespace talvane
