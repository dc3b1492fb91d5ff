#pragma once

// The arithmetic of the panel, in points. A window's origin is its lower left corner, with y
// growing upwards from the screen's lower edge. Everywhere else, on the desktop and inside the
// panel, the origin is the upper left corner and y grows downwards.

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "ui/desktop/bars.h"
#include "ui/desktop/item_place.h"
#include "ui/kit/frame.h"

namespace talvane {

/// The screen that the panel opens on. All 0 if there is no screen.
struct ScreenSize {
  int full_height = 0;
  int visible_width = 0;
};

inline constexpr int panel_width = 260;
inline constexpr int band_height = 34;
inline constexpr int menu_bar_height = 22;
inline constexpr int screen_margin = 270;
inline constexpr Frame close_button_frame{244, 7, 12, 12};

enum class ToolbarSlot : std::uint8_t { left, centre, right, wide /* centre and right */ };

/// A toolbar button within the toolbar.
Frame toolbarButtonFrame(ToolbarSlot slot);
/// The bands of a panel with this height.
Frame logoFrame();
Frame toolbarFrame(int height);
Frame tileFrame(int height);
/// `frame` without the logo band and the toolbar.
Frame withoutBands(const Frame& frame);

// Heights of the views.

/// `notice_height` is the height of the notice about unreadable tokens, with what belongs to it; 0
/// if there is none.
int tokenViewHeight(int tokens, int notice_height = 0);
/// Without tokens, with a hint of this height in their place.
int hintedViewHeight(int hint_height);
int managementViewHeight(int tokens);
inline constexpr int add_view_height = 160;
inline constexpr int manual_view_height = 200;
inline constexpr int response_view_height = 200;
inline constexpr int authentication_view_height = 270;
inline constexpr int help_view_height = 246;
inline constexpr int address_view_height = 270;
inline constexpr int other_view_height = 500;

// Rows of the token view, in its coordinates.

Frame tokenRowFrame(int index);
inline constexpr Frame description_frame{0, 5, 212, 20};
inline constexpr Frame passcode_frame{0, 30, 212, 40};
inline constexpr Frame copy_button_frame{159, 35, 48, 20};
Frame countdownFrame(int tokens);

// Beside or in place of the rows, in the content's coordinates.

/// The notice about unreadable tokens, `height` high: above the rows or in their place.
Frame noticeFrame(int tokens, int height);
/// How much lower the rows stand because of a notice above them.
int rowsOffset(int tokens, int notice_height);
/// What a button below the notice that stands alone adds to its height.
inline constexpr int unlock_room = 34;
/// That button, below `words_height` of words.
Frame unlockFrame(int words_height);
/// The words above it.
Frame lockedFrame(int words_height);
/// The hint in place of rows.
Frame hintFrame(int hint_height);

// Rows of the management view, in its coordinates.

Frame managementFieldFrame(int index);
Frame managementCheckboxFrame(int index);
/// The button that shows a token's response code, beside the box.
Frame managementResponseFrame(int index);

/// Converts a rectangle between coordinates from the lower edge and from the upper edge of
/// something `height` high. It is its own inverse.
Frame flipped(const Frame& frame, int height);

// Place and roll of the window. `height` is the height of the window.

/// Under the menu bar at the right of the screen; above that place at the start of a roll (`roll`).
Place defaultPlace(const ScreenSize& screen, int height, bool roll);

/// The movement of one of `steps` steps; 0 without steps.
int rollChunk(int height, std::int64_t steps);

/// Every place of the window, in order: `steps` intermediate ones, then the exact end. Only the end
/// if `steps` is 0 or less.
std::vector<Place> openingRoll(Place start, int height, std::int64_t steps);
/// The same, but the last step carries the rest. Empty if `steps` is 0 or less.
std::vector<Place> closingRoll(Place start, int height, std::int64_t steps);

/// A screen on the desktop.
struct ScreenArea {
  Frame whole;
  Frame work;  // without the bars; the whole screen where they are not known
  friend bool operator==(const ScreenArea&, const ScreenArea&) = default;
};

/// The part of a screen that the docks leave free, in pixels of the display. Without docks the work
/// area of the window manager counts, as far as it lies on the screen; without that, the screen.
Frame workArea(const Frame& screen, const Bars& bars);

/// A frame on a screen whose upper left corner is `screen`, from pixels of the display in points.
Frame inPoints(const Frame& pixels, Place screen, double pixels_a_point);

/// What the panel opens at.
struct Anchor {
  Frame icon;             // without a size if only a point is known
  Edge edge = Edge::top;  // where the bar with the icon lies
  ScreenArea screen;
  friend bool operator==(const Anchor&, const Anchor&) = default;
};

/// At the icon, or a point on it, if it lies on a screen and outside its work area. An icon that
/// lies inside, and a screen whose bars are not known, have a bar at the nearest edge.
std::optional<Anchor> anchorAt(const Frame& icon, std::span<const ScreenArea> screens);
/// At the end of a bar where status areas are: the right one, or the lower one at a side. On the
/// first screen with a bar.
std::optional<Anchor> anchorAtBar(std::span<const ScreenArea> screens);

/// At the icon itself, where the mouse clicked it, or at a bar if it was clicked somewhere; the
/// first that there is. None if nothing was clicked.
std::optional<Anchor> anchorOf(const ItemPlace& item, std::span<const ScreenArea> screens);

/// The panel on the desktop. It rolls out of the edge.
struct PanelPlace {
  Frame window;
  Edge edge = Edge::top;
  Frame screen;
  friend bool operator==(const PanelPlace&, const PanelPlace&) = default;
};

/// Where a panel with content of this height opens. It is no higher than the work area. Without an
/// anchor: under the menu bar at the right of `main`.
PanelPlace panelPlace(const std::optional<Anchor>& anchor, const ScreenArea& main, int height);
/// A panel with this origin on the screen; before it rolls down if `roll`.
PanelPlace placeAt(Place origin, const Frame& screen, int height, bool roll);
/// The origin of the window on its screen; before it rolls out if `roll`.
Place originOf(const PanelPlace& place, bool roll);

/// How far the panel rolls.
int rollLength(const PanelPlace& place);

/// What shows of a window that has rolled out in part, and where its content lies in it.
struct RollStep {
  Frame visible;
  Place content;
  friend bool operator==(const RollStep&, const RollStep&) = default;
};
/// The steps between closed and open, by the places of `openingRoll` and `closingRoll`.
std::vector<RollStep> openingSteps(const PanelPlace& place, std::int64_t steps);
std::vector<RollStep> closingSteps(const PanelPlace& place, std::int64_t steps);

// Content that is higher than the room for it scrolls within the room.

/// How far the content has moved up after a scroll by `movement` (positive shows what is below).
int scrolledBy(int scrolled, int movement, int content_height, int room_height);
/// The movement that brings the part of the content from `first` to `last` into the room.
int movementToShow(int first, int last, int scrolled, int room_height);

}  // namespace talvane
