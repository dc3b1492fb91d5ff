#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace talvane::torture {

/// Sees when a window of another program paints.
class FrameWatch {
 public:
  explicit FrameWatch(const std::string& display);
  ~FrameWatch();
  FrameWatch(const FrameWatch&) = delete;
  FrameWatch& operator=(const FrameWatch&) = delete;

  /// Asks the window again and again to paint a corner of itself, for `time`, and returns the
  /// longest time in which it did not. `window` tells which one it is; while there is none, none
  /// paints.
  std::chrono::milliseconds longestGap(const std::function<std::optional<unsigned long>()>& window,
                                       std::chrono::milliseconds time);

 private:
  struct Connection;
  std::unique_ptr<Connection> connection_;
};

}  // namespace talvane::torture
