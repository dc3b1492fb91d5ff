#pragma once

// Rectangles and points of the panel, in points.

namespace talvane {

/// A rectangle.
struct Frame {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  friend bool operator==(const Frame&, const Frame&) = default;
};

/// A point.
struct Place {
  int x = 0;
  int y = 0;
  friend bool operator==(const Place&, const Place&) = default;
};

}  // namespace talvane
