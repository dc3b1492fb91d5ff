#pragma once

#include <functional>
#include <memory>

namespace talvane {

/// The part of the desktop that shows programs' icons.
class StatusArea {
 public:
  virtual ~StatusArea() = default;
  [[nodiscard]] virtual bool isThere() = 0;
  /// Calls back from the event loop when one may have appeared, until this object is destroyed.
  virtual void watch(std::function<void()> appeared) = 0;
};

std::unique_ptr<StatusArea> systemStatusArea();

}  // namespace talvane
