#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "engine/soft_token_info.h"
#include "engine/text.h"
#include "engine/vane.h"

namespace talvane {
namespace {

constexpr std::int32_t last_index = 29;
using ColourTable = std::array<Colour, last_index + 1>;

ColourTable countdown_colours;
ColourTable passcode_colours;

const Colour& nearest(const ColourTable& table, std::int32_t index) {
  return table[static_cast<std::size_t>(std::clamp(index, 0, last_index))];
}

void fillFrom(ColourTable& table, std::size_t first, Colour colour) {
  std::fill(table.begin() + static_cast<std::ptrdiff_t>(first), table.end(), colour);
}

std::int32_t colourIndex(std::int32_t period, bool countdown_60, std::int64_t remainder) {
  const auto r = static_cast<std::int32_t>(remainder);
  if (countdown_60) {
    if (period == 60) {
      if (r < 30) {
        vane::log(
            "COMMON::GetPasscodeColor: branch: 60 second countdown, 60 second token, remainder<30");
      }
      // The first half of the minute falls through to here as well, with a negative index.
      vane::log(
          "COMMON::GetPasscodeColor: branch: 60 second countdown, 60 second token, remainder>=30");
      return r - 30;
    }
    vane::log(
        "COMMON::GetPasscodeColor: branch 60 second countdown, 30 second token (unexpected!)");
    return 0;
  }
  if (period == 60 && r >= 30) {
    // The line says 30 where the token has 60; readers of traces know it so.
    vane::log(
        "COMMON::GetPasscodeColor: branch 30 second countdown, 30 second token, remainder>=30");
    return r - 30;
  }
  if (period == 60) {
    vane::log(
        "COMMON::GetPasscodeColor: branch 30 second countdown, 60 second token, remainder<30");
    return 0;
  }
  vane::log("COMMON::GetPasscodeColor: branch 30 second countdown, 30 second token");
  return r;
}

}  // namespace

void vane::InitColors() {
  countdown_colours.fill({0.0F, 1.0F, 0.0F});
  fillFrom(countdown_colours, 19, {0.3F, 1.0F, 0.0F});
  fillFrom(countdown_colours, 20, {0.6F, 1.0F, 0.0F});
  fillFrom(countdown_colours, 21, {0.8F, 1.0F, 0.0F});
  fillFrom(countdown_colours, 22, {0.8F, 0.8F, 0.0F});
  fillFrom(countdown_colours, 23, {0.8F, 0.6F, 0.0F});
  fillFrom(countdown_colours, 24, {0.8F, 0.3F, 0.0F});
  fillFrom(countdown_colours, 25, {0.8F, 0.0F, 0.0F});

  passcode_colours.fill({0.0F, 0.0F, 0.0F});
  fillFrom(passcode_colours, 22, {0.2F, 0.0F, 0.0F});
  fillFrom(passcode_colours, 23, {0.4F, 0.0F, 0.0F});
  fillFrom(passcode_colours, 24, {0.6F, 0.0F, 0.0F});
  fillFrom(passcode_colours, 25, {0.8F, 0.0F, 0.0F});
}

const Colour& vane::ColorForValue(std::int32_t index) {
  return nearest(countdown_colours, index);
}

const Colour& vane::ColorForValue2(std::int32_t index) {
  return nearest(passcode_colours, index);
}

bool vane::bAllTokensArePeriod60(std::span<const std::unique_ptr<SoftTokenInfo>> tokens) {
  for (const auto& token : tokens) {
    if (token == nullptr) break;
    if (token->period == 30) return false;
  }
  return true;
}

std::int32_t vane::GetPasscodeColorForToken(const SoftTokenInfo& token, bool WithCountdownPeriod60,
                                            std::int64_t WithTime) {
  log("COMMON::GetPasscodeColor: begin: token:'{}' bCountdown60:{:d} time:{}",
      orNil(token.description), WithCountdownPeriod60, WithTime);
  const std::int64_t remainder = token.period > 0 ? WithTime % token.period : 0;
  const std::int32_t index = colourIndex(token.period, WithCountdownPeriod60, remainder);
  log("COMMON::GetPasscodeColor: end:{}", index);
  return index;
}

}  // namespace talvane
