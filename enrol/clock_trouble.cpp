#include "enrol/clock_trouble.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

namespace talvane {
namespace {

constexpr std::int64_t tolerated_seconds = 20;
constexpr std::int64_t farthest_seconds = std::int64_t{1} << 40;

std::string spanOf(std::int64_t seconds) {
  if (seconds < 120) return fmt::format("{} seconds", seconds);
  if (seconds < 7200) return fmt::format("{} minutes", seconds / 60);
  if (seconds < 172800) return fmt::format("{} hours", seconds / 3600);
  return fmt::format("{} days", seconds / 86400);
}

}  // namespace

std::optional<std::string> clockTrouble(std::int64_t server_ahead) {
  // Larger differences read the same.
  server_ahead = std::clamp<std::int64_t>(server_ahead, -farthest_seconds, farthest_seconds);
  if (server_ahead >= -tolerated_seconds && server_ahead <= tolerated_seconds) return std::nullopt;
  return fmt::format(
      "This computer's clock is {} {} the server's. Passcodes depend on the time: set the clock, "
      "ideally by turning on automatic time in the system's date and time settings",
      spanOf(server_ahead > 0 ? server_ahead : -server_ahead),
      server_ahead > 0 ? "behind" : "ahead of");
}

}  // namespace talvane
