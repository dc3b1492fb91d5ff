#pragma once

#include <chrono>
#include <optional>

namespace talvane {

/// When to stop holding the clipboard. The time that the computer sleeps counts.
class Deadline {
 public:
  /// 0 or less: never.
  explicit Deadline(std::chrono::seconds from_now);
  [[nodiscard]] bool isNever() const { return !end_.has_value(); }
  [[nodiscard]] bool hasPassed() const;
  /// How long poll(2) may wait before it has to ask again.
  [[nodiscard]] int milliseconds() const;

 private:
  std::optional<std::chrono::milliseconds> end_;
};

}  // namespace talvane
