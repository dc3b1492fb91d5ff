#pragma once

// The arithmetic of the countdown bar, in points from its top.

namespace talvane {

/// The line that `split` divides is 10 wide in a 12 wide bar, at its centre.
inline constexpr int countdown_line_x = 6;
/// Where the elapsed part ends, from the top of a bar this high.
int countdownSplit(int value, int period, float height);
/// The index of the colour of what is left.
int countdownColourIndex(int value, int period);

}  // namespace talvane
