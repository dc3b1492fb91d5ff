#pragma once

// A key combination that reaches the program whatever window has the keyboard. Main thread only.

#include <functional>
#include <optional>
#include <string>

#include "platform/shortcut.h"

namespace talvane {

class GlobalShortcut {
 public:
  struct Result {
    /// For the user: why there is none now; empty if there is the one that was wished.
    std::string problem;
    /// What the user presses, as this desktop writes it.
    std::string shown;
  };

  virtual ~GlobalShortcut() = default;

  /// Tells, at once or from the event loop, whether this desktop lets a program have one.
  virtual void askWhetherPossible(std::function<void(bool possible)> told) = 0;
  /// Replaces the present one; without a wish, there is none from now on. Tells the result, at once
  /// or from the event loop, unless it is called again before.
  virtual void set(const std::optional<Shortcut>& wish,
                   std::function<void(const Result& result)> told) = 0;
  /// While it is paused, nothing happens when it is pressed.
  virtual void setPaused(bool paused) = 0;
};

}  // namespace talvane
