#pragma once

// The arithmetic of the countdown bar, in points from its top.

namespace talvane {

/// `split` divides a line 10 wide, at the centre of a bar 12 wide.
inline constexpr int countdown_line_x = 6;
/// The end of the elapsed part, from the top of a bar this high.
int countdownSplit(int value, int period, float height);
/// The index of the colour for the rest.
int countdownColourIndex(int value, int period);

}  // namespace talvane
