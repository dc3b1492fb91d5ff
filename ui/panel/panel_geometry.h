#pragma once

// The arithmetic of the panel, in points. Window origins are those of the lower left corner with y
// growing upwards from the screen's lower edge, as window servers of the panel's kind count;
// everything inside the panel has its origin in the upper left corner with y growing downwards.

#include <cstdint>
#include <vector>

#include "ui/kit/frame.h"

namespace talvane {

/// What counts of the screen that the panel opens on. All 0: there is no screen.
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
/// The bands of a panel of this height.
Frame logoFrame();
Frame toolbarFrame(int height);
Frame tileFrame(int height);
/// `frame` without the logo band and the toolbar.
Frame withoutBands(const Frame& frame);

// Heights of the views.

/// `notice_height`: of the words about what could not be read; 0: there are none.
int tokenViewHeight(int tokens, int notice_height = 0);
int managementViewHeight(int tokens);
inline constexpr int add_view_height = 160;
inline constexpr int manual_view_height = 200;
inline constexpr int response_view_height = 200;
inline constexpr int authentication_view_height = 270;
inline constexpr int help_view_height = 246;
inline constexpr int address_view_height = 270;
inline constexpr int other_view_height = 500;

// Rows of the token view, within it.

Frame tokenRowFrame(int index);
inline constexpr Frame description_frame{0, 5, 212, 20};
inline constexpr Frame passcode_frame{0, 30, 212, 40};
inline constexpr Frame copy_button_frame{159, 35, 48, 20};
Frame countdownFrame(int tokens);
/// Within the panel, under the rows or in their place: words about what could not be read, `height`
/// high.
Frame noticeFrame(int tokens, int height);

// Rows of the management view, within it.

Frame managementFieldFrame(int index);
Frame managementCheckboxFrame(int index);

/// A rectangle given from the lower edge of something `height` high, or given from the upper edge
/// and wanted from the lower: its own inverse.
Frame flipped(const Frame& frame, int height);

// Place and roll of the window. `height` is the panel's.

/// Under the menu bar at the right of the screen; with `roll` still above its place.
Place defaultPlace(const ScreenSize& screen, int height, bool roll);

/// What one of `steps` moves; 0 when there are none.
int rollChunk(int height, std::int64_t steps);

/// Every place the window is moved to, in order: `steps` intermediate ones, then the exact end. A
/// count of 0 or less: the end alone.
std::vector<Place> openingRoll(Place start, int height, std::int64_t steps);
/// As above; the last step carries the rest, and a count of 0 or less moves nowhere.
std::vector<Place> closingRoll(Place start, int height, std::int64_t steps);

/// Where the upper edge (from the screen's upper edge, growing downwards) of a panel that is too
/// high for the screen comes to lie, when it is to move by `movement` (upwards is negative): within
/// what keeps it filling the screen below `top`. One that fits stays at `top`.
int scrolledTop(int current_top, int movement, int top, int height, int screen_height);
/// The movement that brings `first` to `last` (within the panel) onto the screen.
int movementToShow(int first, int last, int current_top, int top, int screen_height);

}  // namespace talvane
