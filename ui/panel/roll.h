#pragma once

#include <chrono>
#include <vector>

#include "ui/panel/panel_geometry.h"
#include "ui/panel/soft_token_window.h"

namespace talvane {

/// Rolls the panel out of a bar and back behind it. Main thread only.
class Roll {
 public:
  /// How long a step stays, or less if there are more than ten: a frame of a usual screen.
  inline static std::chrono::microseconds longest_step{16'000};

  /// Waits until the window system shows the window, but not for long: its events are processed
  /// meanwhile, the user's input is not.
  static void awaitShown(const SoftTokenWindow& window);
  /// Paints each step before the next. What the user does meanwhile is kept for later.
  static void run(SoftTokenWindow& window, const std::vector<RollStep>& steps);
};

}  // namespace talvane
