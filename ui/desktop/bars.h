#pragma once

#include <cstdint>
#include <vector>

#include "ui/kit/frame.h"

namespace talvane {

enum class Edge : std::uint8_t { top, bottom, left, right };

/// The room that a dock takes at an edge of the display: `depth` pixels, from `begin` to `end`
/// along the edge, both included (Extended Window Manager Hints, _NET_WM_STRUT_PARTIAL).
struct Strut {
  Edge edge = Edge::top;
  int depth = 0;
  int begin = 0;
  int end = 0;
};

/// What is known about the desktop's bars, in pixels of the display.
struct Bars {
  Frame display;
  std::vector<Strut> struts;
  std::vector<Frame> work_areas;  // of the window manager: of all screens, or one of each
};

/// Asks the display. Nothing is known where it does not tell.
Bars desktopBars();

}  // namespace talvane
