#pragma once

// The arithmetic of the panel, in points. A window's origin is its lower left corner, with y
// growing upwards from the screen's lower edge. Inside the panel, the origin is the upper left
// corner and y grows downwards.

#include <cstdint>
#include <vector>

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

enum class ToolbarSlot : std::uint8_t { left, centre, right };

/// A toolbar button within the toolbar.
Frame toolbarButtonFrame(ToolbarSlot slot);
/// The bands of a panel with this height.
Frame logoFrame();
Frame toolbarFrame(int height);
Frame tileFrame(int height);
/// `frame` without the logo band and the toolbar.
Frame withoutBands(const Frame& frame);

// Heights of the views.

/// `notice_height` is the height of the notice about unreadable tokens; 0 if there is none.
int tokenViewHeight(int tokens, int notice_height = 0);
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
/// The notice about unreadable tokens, `height` high: below the rows or in their place.
Frame noticeFrame(int tokens, int height);

// Rows of the management view, in its coordinates.

Frame managementFieldFrame(int index);
Frame managementCheckboxFrame(int index);

/// Converts a rectangle between coordinates from the lower edge and from the upper edge of
/// something `height` high. It is its own inverse.
Frame flipped(const Frame& frame, int height);

// Place and roll of the window. `height` is the height of the panel.

/// Under the menu bar at the right of the screen; above that place at the start of a roll (`roll`).
Place defaultPlace(const ScreenSize& screen, int height, bool roll);

/// The movement of one of `steps` steps; 0 without steps.
int rollChunk(int height, std::int64_t steps);

/// Every place of the window, in order: `steps` intermediate ones, then the exact end. Only the end
/// if `steps` is 0 or less.
std::vector<Place> openingRoll(Place start, int height, std::int64_t steps);
/// The same, but the last step carries the rest. Empty if `steps` is 0 or less.
std::vector<Place> closingRoll(Place start, int height, std::int64_t steps);

/// The upper edge of a panel after a scroll by `movement` (negative is up), measured down from the
/// screen's upper edge. A panel that is too high for the screen keeps filling it below `top`; one
/// that fits stays at `top`.
int scrolledTop(int current_top, int movement, int top, int height, int screen_height);
/// The movement that brings the part from `first` to `last` of the panel onto the screen.
int movementToShow(int first, int last, int current_top, int top, int screen_height);

}  // namespace talvane
