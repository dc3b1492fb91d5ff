#pragma once

// The engine's log. Any thread, but set the gateway before other threads write.

#include <fmt/core.h>

#include <string_view>
#include <utility>

#include "engine/gateway.h"

namespace talvane {

class EngineLog {
 public:
  /// Sends lines to the gateway, which the caller keeps alive; to nowhere if null.
  static void setGateway(Gateway* gateway);

  static bool isWanted();

  /// Keeps this thread's lines out of the log for the length of a scope, for reads that the user
  /// did not ask for.
  class Pause {
   public:
    Pause();
    ~Pause();
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;
  };

  /// Passes a line to the gateway. Formats nothing if nobody listens.
  template <typename... Args>
  static void line(fmt::format_string<Args...> format, Args&&... args) {
    if (isWanted()) write(fmt::format(format, std::forward<Args>(args)...));
  }

 private:
  static void write(std::string_view text);
};

}  // namespace talvane
