#pragma once

// The engine's log. Any thread; where it goes is set before other threads write.

#include <fmt/core.h>

#include <string_view>
#include <utility>

#include "engine/gateway.h"

namespace talvane {

class EngineLog {
 public:
  /// Lines go to the gateway from now on, which the caller keeps alive. Null: nowhere.
  static void setGateway(Gateway* gateway);

  static bool isWanted();

  /// Keeps this thread's lines out of the log for the length of a scope: for a look whose reader is
  /// not the user.
  class Pause {
   public:
    Pause();
    ~Pause();
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;
  };

  /// Hands a line to the gateway. Formats nothing when nobody listens.
  template <typename... Args>
  static void line(fmt::format_string<Args...> format, Args&&... args) {
    if (isWanted()) write(fmt::format(format, std::forward<Args>(args)...));
  }

 private:
  static void write(std::string_view text);
};

}  // namespace talvane
