#include "ui/panel/roll.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QWindow>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <thread>
#include <vector>

#include "ui/panel/panel_geometry.h"
#include "ui/panel/soft_token_window.h"

namespace talvane {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr milliseconds patience{100};
constexpr milliseconds longest_roll{200};
constexpr int full_roll = 10;  // steps

bool isShown(const SoftTokenWindow& window) {
  const QWindow* handle = window.windowHandle();
  return handle == nullptr || handle->isExposed();
}

}  // namespace

void Roll::awaitShown(const SoftTokenWindow& window) {
  const auto end = Clock::now() + patience;
  while (!isShown(window) && Clock::now() < end) {
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents |
                                    QEventLoop::ExcludeSocketNotifiers);
    std::this_thread::sleep_for(milliseconds(1));
  }
}

void Roll::run(SoftTokenWindow& window, const std::vector<RollStep>& steps) {
  const auto pauses = static_cast<microseconds::rep>(steps.size()) - 1;
  const microseconds pause =
      std::min(longest_step, pauses > 0 ? full_roll * longest_step / pauses : longest_step);
  const auto begin = Clock::now();
  for (std::size_t i = 0; i < steps.size(); ++i) {
    const bool is_last = i + 1 == steps.size();
    // Rather fewer steps than a long roll, on a slow machine or of a great many.
    if (!is_last && Clock::now() > begin + longest_roll) continue;
    window.showPart(steps[i]);
    if (!is_last) std::this_thread::sleep_until(begin + pause * static_cast<int>(i + 1));
  }
}

}  // namespace talvane
