#include "cli/holder/deadline.h"

#include <time.h>

#include <algorithm>
#include <chrono>

namespace talvane {
namespace {

using std::chrono::milliseconds;

// Waiting stops while the computer sleeps; so look at the clock now and then.
constexpr milliseconds longest_wait = std::chrono::seconds(5);

milliseconds now() {
#ifdef CLOCK_BOOTTIME
  constexpr clockid_t clock = CLOCK_BOOTTIME;
#else
  constexpr clockid_t clock = CLOCK_MONOTONIC;  // macOS's goes on in sleep
#endif
  timespec time{};
  clock_gettime(clock, &time);
  return std::chrono::seconds(time.tv_sec) + milliseconds(time.tv_nsec / 1'000'000);
}

}  // namespace

Deadline::Deadline(std::chrono::seconds from_now) {
  if (from_now.count() > 0) end_ = now() + from_now;
}

bool Deadline::hasPassed() const {
  return end_ && now() >= *end_;
}

int Deadline::milliseconds() const {
  if (!end_) return -1;
  return static_cast<int>(
      std::clamp(*end_ - now(), std::chrono::milliseconds(0), longest_wait).count());
}

}  // namespace talvane
