#include "enrol/clock_trouble.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/translation.h"

namespace talvane {
namespace {

constexpr std::int64_t tolerated_seconds = 20;
constexpr std::int64_t farthest_seconds = std::int64_t{1} << 40;

std::string spanOf(std::int64_t seconds) {
  const auto in = [seconds](std::int64_t unit) {
    return static_cast<std::uint64_t>(seconds / unit);
  };
  if (seconds < 120) return translatedCount("{} second", "{} seconds", in(1));
  if (seconds < 7200) return translatedCount("{} minute", "{} minutes", in(60));
  if (seconds < 172800) return translatedCount("{} hour", "{} hours", in(3600));
  return translatedCount("{} day", "{} days", in(86400));
}

}  // namespace

std::optional<std::string> clockTrouble(std::int64_t server_ahead) {
  // Larger differences read the same.
  server_ahead = std::clamp<std::int64_t>(server_ahead, -farthest_seconds, farthest_seconds);
  if (server_ahead >= -tolerated_seconds && server_ahead <= tolerated_seconds) return std::nullopt;
  if (server_ahead > 0) {
    return translatedWith(
        "This computer's clock is {} behind the server's. Passcodes depend on the time: set the "
        "clock, ideally by turning on automatic time in the system's date and time settings",
        spanOf(server_ahead));
  }
  return translatedWith(
      "This computer's clock is {} ahead of the server's. Passcodes depend on the time: set the "
      "clock, ideally by turning on automatic time in the system's date and time settings",
      spanOf(-server_ahead));
}

}  // namespace talvane
