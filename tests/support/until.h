#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace talvane::test {

/// Asks again and again until the answer is yes, for at most `patience`. The last answer.
inline bool until(const std::function<bool()>& condition,
                  std::chrono::milliseconds patience = std::chrono::seconds(10)) {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

}  // namespace talvane::test
