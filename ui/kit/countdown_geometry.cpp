#include "ui/kit/countdown_geometry.h"

namespace talvane {

int countdownSplit(int value, int period, float height) {
  const float chunk = height / static_cast<float>(period - 1);
  return static_cast<int>(static_cast<float>(value) * chunk);
}

int countdownColourIndex(int value, int period) {
  if (period != 60) return value;
  return value >= 30 ? value - 30 : 0;
}

}  // namespace talvane
