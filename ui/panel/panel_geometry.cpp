#include "ui/panel/panel_geometry.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "ui/kit/frame.h"

namespace talvane {
namespace {

constexpr int token_row_distance = 72;
constexpr int management_row_distance = 30;
constexpr int first_row_y = 12;
constexpr int least_list_height = 128;
constexpr int notice_margin = 16;  // above and below a notice that stands alone
constexpr int notice_gap = 8;      // between the rows and a notice below them
constexpr int notice_x = 12;

// More steps than any screen has pixels make no difference.
constexpr std::int64_t most_steps = 100'000;

}  // namespace

Frame toolbarButtonFrame(ToolbarSlot slot) {
  switch (slot) {
    case ToolbarSlot::left:
      return {5, 0, 80, 32};
    case ToolbarSlot::centre:
      return {90, 0, 80, 32};
    case ToolbarSlot::right:
      break;
  }
  return {175, 0, 80, 32};
}

Frame logoFrame() {
  return {0, 0, panel_width, band_height};
}

Frame toolbarFrame(int height) {
  return {0, height - band_height, panel_width, band_height};
}

Frame tileFrame(int height) {
  return {0, band_height, panel_width, height - 2 * band_height};
}

Frame withoutBands(const Frame& frame) {
  return {frame.x, frame.y + band_height, frame.width, frame.height - 2 * band_height};
}

int tokenViewHeight(int tokens, int notice_height) {
  const int height = std::max(token_row_distance * tokens + 84, least_list_height);
  if (notice_height == 0) return height;
  // Without rows the notice has the panel to itself.
  return tokens == 0 ? std::max(height, notice_height + 2 * (band_height + notice_margin))
                     : height + notice_height + notice_gap;
}

int managementViewHeight(int tokens) {
  return std::max(management_row_distance * tokens + 86, least_list_height);
}

Frame tokenRowFrame(int index) {
  return {36, first_row_y + token_row_distance * index, 212, 60};
}

Frame countdownFrame(int tokens) {
  return {12, first_row_y, 12, tokens * token_row_distance - 12};
}

Frame noticeFrame(int tokens, int height) {
  const int width = panel_width - 2 * notice_x;
  if (tokens == 0) {
    return {notice_x, band_height, width, tokenViewHeight(0, height) - 2 * band_height};
  }
  const int rows_end = band_height + token_row_distance * tokens;
  return {notice_x, rows_end + first_row_y, width, height};
}

Frame managementFieldFrame(int index) {
  return {20, first_row_y + management_row_distance * index, 180, 20};
}

Frame managementCheckboxFrame(int index) {
  return {212, first_row_y + management_row_distance * index, 180, 20};
}

Frame flipped(const Frame& frame, int height) {
  return {frame.x, height - frame.y - frame.height, frame.width, frame.height};
}

Place defaultPlace(const ScreenSize& screen, int height, bool roll) {
  return {screen.visible_width - screen_margin,
          screen.full_height - menu_bar_height - (roll ? 0 : height)};
}

int rollChunk(int height, std::int64_t steps) {
  return steps == 0 ? 0 : static_cast<int>(height / steps);
}

std::vector<Place> openingRoll(Place start, int height, std::int64_t steps) {
  std::vector<Place> places;
  const int chunk = rollChunk(height, steps);
  Place place = start;
  for (std::int64_t step = 0; step < std::min(steps, most_steps); ++step) {
    place.y -= chunk;
    places.push_back(place);
  }
  places.push_back({start.x, start.y - height});
  return places;
}

std::vector<Place> closingRoll(Place start, int height, std::int64_t steps) {
  std::vector<Place> places;
  const int chunk = rollChunk(height, steps);
  const std::int64_t moves = std::min(steps, most_steps);
  Place place = start;
  for (std::int64_t step = 0; step < moves; ++step) {
    place.y += chunk;
    if (step == moves - 1) place.y = start.y + height;
    places.push_back(place);
  }
  return places;
}

int scrolledTop(int current_top, int movement, int top, int height, int screen_height) {
  const int lowest = std::min(top, screen_height - height);
  return std::clamp(current_top + movement, lowest, top);
}

int movementToShow(int first, int last, int current_top, int top, int screen_height) {
  if (current_top + first < top) return top - current_top - first;
  if (current_top + last > screen_height) return screen_height - current_top - last;
  return 0;
}

}  // namespace talvane
