#include "ui/kit/alert_place.h"

#include <algorithm>
#include <optional>

#include "ui/kit/frame.h"

namespace talvane {
namespace {

// `first` moved so that `size` from there lies between `begin` and `end`; at `begin` if it is
// larger.
int within(int first, int size, int begin, int end) {
  return std::max(begin, std::min(first, end - size));
}

}  // namespace

Place alertPlace(const Frame& area, const std::optional<Frame>& panel, int width, int height) {
  const int whole_width = width + 2 * alert_frame_side;
  const int whole_height = height + alert_frame_top + alert_frame_side;
  const int right = area.x + area.width;
  const int bottom = area.y + area.height;
  if (panel) {
    const int y = within(panel->y, whole_height, area.y, bottom);
    const int before = panel->x - alert_gap - whole_width;
    if (before >= area.x) return {before, y};
    const int after = panel->x + panel->width + alert_gap;
    if (after + whole_width <= right) return {after, y};
  }
  return {within(area.x + (area.width - whole_width) / 2, whole_width, area.x, right),
          within(area.y + (area.height - whole_height) / 2, whole_height, area.y, bottom)};
}

}  // namespace talvane
