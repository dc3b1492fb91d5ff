#include "ui/panel/panel_geometry.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "ui/desktop/bars.h"
#include "ui/desktop/item_place.h"
#include "ui/kit/frame.h"

namespace talvane {
namespace {

constexpr int token_row_distance = 72;
constexpr int management_row_distance = 30;
constexpr int first_row_y = 12;
constexpr int least_list_height = 128;
constexpr int notice_margin = 16;  // above and below a notice that stands alone
constexpr int notice_gap = 12;     // above a notice over the rows
constexpr int hint_margin = 4;
constexpr int notice_x = 12;

// More steps than any screen has pixels make no difference.
constexpr std::int64_t most_steps = 100'000;

// A bar whose depth is not known is taken for no deeper.
constexpr int deepest_bar = 96;

int rightOf(const Frame& frame) {
  return frame.x + frame.width;
}

int bottomOf(const Frame& frame) {
  return frame.y + frame.height;
}

bool isEmpty(const Frame& frame) {
  return frame.width <= 0 || frame.height <= 0;
}

Place centreOf(const Frame& frame) {
  return {frame.x + frame.width / 2, frame.y + frame.height / 2};
}

bool contains(const Frame& frame, Place place) {
  return place.x >= frame.x && place.x < rightOf(frame) && place.y >= frame.y &&
         place.y < bottomOf(frame);
}

Frame intersection(const Frame& a, const Frame& b) {
  const int x = std::max(a.x, b.x);
  const int y = std::max(a.y, b.y);
  return {x, y, std::min(rightOf(a), rightOf(b)) - x, std::min(bottomOf(a), bottomOf(b)) - y};
}

Frame dockFrame(const Strut& strut, const Frame& display) {
  const int length = strut.end - strut.begin + 1;
  switch (strut.edge) {
    case Edge::top:
      return {strut.begin, display.y, length, strut.depth};
    case Edge::bottom:
      return {strut.begin, bottomOf(display) - strut.depth, length, strut.depth};
    case Edge::left:
      return {display.x, strut.begin, strut.depth, length};
    case Edge::right:
      break;
  }
  return {rightOf(display) - strut.depth, strut.begin, strut.depth, length};
}

int distanceToEdge(Place place, const Frame& frame) {
  return std::min(std::min(place.x - frame.x, rightOf(frame) - place.x),
                  std::min(place.y - frame.y, bottomOf(frame) - place.y));
}

// Moves that edge of the frame to the inner side of the bar.
void cutOff(Edge edge, const Frame& bar, Frame* frame) {
  const int right = rightOf(*frame);
  const int bottom = bottomOf(*frame);
  switch (edge) {
    case Edge::top:
      frame->y = std::max(frame->y, bottomOf(bar));
      frame->height = bottom - frame->y;
      break;
    case Edge::bottom:
      frame->height = std::min(bottom, bar.y) - frame->y;
      break;
    case Edge::left:
      frame->x = std::max(frame->x, rightOf(bar));
      frame->width = right - frame->x;
      break;
    case Edge::right:
      frame->width = std::min(right, bar.x) - frame->x;
      break;
  }
}

Edge edgeBeyond(const Frame& work, Place place) {
  if (place.y < work.y) return Edge::top;
  if (place.y >= bottomOf(work)) return Edge::bottom;
  return place.x < work.x ? Edge::left : Edge::right;
}

// The bar is as wide behind the icon as before it.
Anchor anchorAtNearestEdge(const Frame& icon, const ScreenArea& screen) {
  const Frame& whole = screen.whole;
  const std::array<std::pair<int, Edge>, 4> distances{{
      {icon.y - whole.y, Edge::top},
      {bottomOf(whole) - bottomOf(icon), Edge::bottom},
      {icon.x - whole.x, Edge::left},
      {rightOf(whole) - rightOf(icon), Edge::right},
  }};
  const auto [distance, edge] =
      *std::min_element(distances.begin(), distances.end(),
                        [](const auto& a, const auto& b) { return a.first < b.first; });
  const bool lies_flat = edge == Edge::top || edge == Edge::bottom;
  const int depth =
      std::min(2 * std::max(distance, 0) + (lies_flat ? icon.height : icon.width), deepest_bar);
  const Frame bar =
      dockFrame({edge, std::max(depth, menu_bar_height), lies_flat ? whole.x : whole.y,
                 (lies_flat ? rightOf(whole) : bottomOf(whole)) - 1},
                whole);
  Anchor anchor{icon, edge, screen};
  cutOff(edge, bar, &anchor.screen.work);
  return anchor;
}

// The panel comes out from behind the bar.
RollStep rolledOut(const PanelPlace& place, int out) {
  const int width = place.window.width;
  const int height = place.window.height;
  const int hidden = rollLength(place) - out;
  switch (place.edge) {
    case Edge::top:
      return {{0, 0, width, out}, {0, -hidden}};
    case Edge::bottom:
      return {{0, hidden, width, out}, {0, hidden}};
    case Edge::left:
      return {{0, 0, out, height}, {-hidden, 0}};
    case Edge::right:
      break;
  }
  return {{hidden, 0, out, height}, {hidden, 0}};
}

}  // namespace

Frame toolbarButtonFrame(ToolbarSlot slot) {
  switch (slot) {
    case ToolbarSlot::left:
      return {5, 0, 80, 32};
    case ToolbarSlot::centre:
      return {90, 0, 80, 32};
    case ToolbarSlot::wide:
      return {90, 0, 165, 32};
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

int hintedViewHeight(int hint_height) {
  return std::max(tokenViewHeight(0), hint_height + 2 * (band_height + hint_margin));
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
  return {notice_x, band_height + notice_gap, width, height};
}

int rowsOffset(int tokens, int notice_height) {
  return tokens == 0 || notice_height == 0 ? 0 : notice_height + notice_gap;
}

Frame unlockFrame(int words_height) {
  constexpr int width = 100;
  constexpr int height = 24;
  const Frame words = lockedFrame(words_height);
  return {(panel_width - width) / 2, bottomOf(words) + unlock_room - height, width, height};
}

Frame lockedFrame(int words_height) {
  const Frame room = noticeFrame(0, words_height + unlock_room);
  const int margin = (room.height - words_height - unlock_room) / 2;
  return {room.x, room.y + margin, room.width, words_height};
}

Frame hintFrame(int hint_height) {
  return {notice_x, band_height, panel_width - 2 * notice_x,
          hintedViewHeight(hint_height) - 2 * band_height};
}

Frame managementFieldFrame(int index) {
  return {20, first_row_y + management_row_distance * index, 180, 20};
}

Frame managementCheckboxFrame(int index) {
  return {212, first_row_y + management_row_distance * index, 180, 20};
}

Frame managementResponseFrame(int index) {
  return {235, first_row_y + management_row_distance * index, 20, 20};
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

Frame workArea(const Frame& screen, const Bars& bars) {
  if (bars.struts.empty()) {
    for (const Frame& area : bars.work_areas) {
      const Frame common = intersection(screen, area);
      if (!isEmpty(common)) return common;
    }
    return screen;
  }
  Frame work = screen;
  for (const Strut& strut : bars.struts) {
    const Frame bar = intersection(dockFrame(strut, bars.display), screen);
    // A dock between two screens takes all of the one behind it, seen from the display's edge.
    if (isEmpty(bar) || bar == screen) continue;
    cutOff(strut.edge, bar, &work);
  }
  return isEmpty(work) ? screen : work;
}

Frame inPoints(const Frame& pixels, Place screen, double pixels_a_point) {
  const auto scaled = [&](int value) {
    return static_cast<int>(std::lround(value / pixels_a_point));
  };
  const int left = scaled(pixels.x - screen.x);
  const int top = scaled(pixels.y - screen.y);
  return {screen.x + left, screen.y + top, scaled(pixels.x - screen.x + pixels.width) - left,
          scaled(pixels.y - screen.y + pixels.height) - top};
}

std::optional<Anchor> anchorAt(const Frame& icon, std::span<const ScreenArea> screens) {
  const Place centre = centreOf(icon);
  for (const ScreenArea& screen : screens) {
    if (!contains(screen.whole, centre)) continue;
    if (screen.work == screen.whole) {
      // A mouse far from every edge is on no bar.
      return isEmpty(icon) && distanceToEdge(centre, screen.whole) > deepest_bar
                 ? std::nullopt
                 : std::optional(anchorAtNearestEdge(icon, screen));
    }
    // Status areas lie in bars; only an icon that shows tells of a bar that nobody knows.
    if (contains(screen.work, centre)) {
      return isEmpty(icon) ? std::nullopt : std::optional(anchorAtNearestEdge(icon, screen));
    }
    return Anchor{icon, edgeBeyond(screen.work, centre), screen};
  }
  return std::nullopt;
}

std::optional<Anchor> anchorAtBar(std::span<const ScreenArea> screens) {
  for (const ScreenArea& screen : screens) {
    const auto& [whole, work] = screen;
    const Place last{rightOf(work) - 1, bottomOf(work) - 1};
    if (work.y > whole.y) return Anchor{{last.x, whole.y, 0, 0}, Edge::top, screen};
    if (bottomOf(work) < bottomOf(whole)) {
      return Anchor{{last.x, bottomOf(whole) - 1, 0, 0}, Edge::bottom, screen};
    }
    if (work.x > whole.x) return Anchor{{whole.x, last.y, 0, 0}, Edge::left, screen};
    if (rightOf(work) < rightOf(whole)) {
      return Anchor{{rightOf(whole) - 1, last.y, 0, 0}, Edge::right, screen};
    }
  }
  return std::nullopt;
}

std::optional<Anchor> anchorOf(const ItemPlace& item, std::span<const ScreenArea> screens) {
  std::optional<Anchor> anchor;
  if (item.icon) anchor = anchorAt(*item.icon, screens);
  if (!anchor && item.pointer) anchor = anchorAt({item.pointer->x, item.pointer->y, 0, 0}, screens);
  if (!anchor && item.clicked) anchor = anchorAtBar(screens);
  return anchor;
}

PanelPlace panelPlace(const std::optional<Anchor>& anchor, const ScreenArea& main, int height) {
  const ScreenArea& screen = anchor ? anchor->screen : main;
  const Frame& work = screen.work;
  const Edge edge = anchor ? anchor->edge : Edge::top;
  const int top = edge == Edge::top ? std::max(screen.whole.y + menu_bar_height, work.y) : work.y;
  if (screen.whole.height > 0) {
    height = std::min(height, std::max(bottomOf(work) - top, least_list_height));
  }
  Frame window{rightOf(work) - screen_margin, top, panel_width, height};
  if (!anchor) return {window, edge, screen.whole};
  const Place icon = centreOf(anchor->icon);
  switch (edge) {
    case Edge::top:
    case Edge::bottom:
      if (rightOf(work) - icon.x > screen_margin) {
        window.x = std::clamp(icon.x - panel_width / 2, work.x,
                              std::max(work.x, rightOf(work) - panel_width));
      }
      if (edge == Edge::bottom) window.y = bottomOf(work) - height;
      break;
    case Edge::left:
    case Edge::right:
      window.x = edge == Edge::left ? work.x : rightOf(work) - panel_width;
      window.y = std::clamp(anchor->icon.y, work.y, std::max(work.y, bottomOf(work) - height));
      break;
  }
  return {window, edge, screen.whole};
}

PanelPlace placeAt(Place origin, const Frame& screen, int height, bool roll) {
  const Frame window =
      flipped({origin.x, origin.y - (roll ? height : 0), panel_width, height}, screen.height);
  return {{screen.x + window.x, screen.y + window.y, panel_width, height}, Edge::top, screen};
}

Place originOf(const PanelPlace& place, bool roll) {
  const Frame& window = place.window;
  Place origin{window.x - place.screen.x, bottomOf(place.screen) - bottomOf(window)};
  if (!roll) return origin;
  switch (place.edge) {
    case Edge::top:
      origin.y += window.height;
      break;
    case Edge::bottom:
      origin.y -= window.height;
      break;
    case Edge::left:
      origin.x -= window.width;
      break;
    case Edge::right:
      origin.x += window.width;
      break;
  }
  return origin;
}

int rollLength(const PanelPlace& place) {
  const bool is_vertical = place.edge == Edge::top || place.edge == Edge::bottom;
  return is_vertical ? place.window.height : place.window.width;
}

std::vector<RollStep> openingSteps(const PanelPlace& place, std::int64_t steps) {
  std::vector<RollStep> result;
  const int length = rollLength(place);
  for (const Place step : openingRoll({0, length}, length, steps)) {
    result.push_back(rolledOut(place, length - step.y));
  }
  return result;
}

std::vector<RollStep> closingSteps(const PanelPlace& place, std::int64_t steps) {
  std::vector<RollStep> result;
  const int length = rollLength(place);
  for (const Place step : closingRoll({0, 0}, length, steps)) {
    result.push_back(rolledOut(place, length - step.y));
  }
  return result;
}

int scrolledBy(int scrolled, int movement, int content_height, int room_height) {
  return std::clamp(scrolled + movement, 0, std::max(0, content_height - room_height));
}

int movementToShow(int first, int last, int scrolled, int room_height) {
  if (first < scrolled || last - first > room_height) return first - scrolled;
  return std::max(0, last - room_height - scrolled);
}

}  // namespace talvane
