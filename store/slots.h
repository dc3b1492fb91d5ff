#pragma once

// One look at all 32 slots, also behind what ends the engine's own reading.

#include <array>
#include <cstdint>
#include <memory>
#include <optional>

#include "engine/soft_token_info.h"
#include "engine/vane.h"
#include "platform/vaneinterface.h"
#include "store/problem.h"
#include "store/stored_tokens.h"

namespace talvane {

struct Slots {
  enum class State : std::uint8_t { empty, loads, damaged, foreign };

  std::array<State, vane::max_tokens> states{};
  vane::TokenArray tokens;  // null unless the state is `loads`

  /// The number of tokens that the engine reads: those in front of the first slot that does not
  /// load.
  [[nodiscard]] std::size_t count() const;
  /// The number of records behind the slot.
  [[nodiscard]] std::int32_t recordsBehind(std::size_t slot) const;
  /// What ends the reading of tokens while there are records behind it: the first record behind the
  /// tokens, when it does not load, else the empty slot in front of it.
  [[nodiscard]] std::optional<Obstacle> obstacle() const;
  /// The first slot from `from` on whose record does not load.
  [[nodiscard]] std::optional<std::size_t> firstUnreadable(std::size_t from) const;

 private:
  [[nodiscard]] Obstacle obstacleAt(std::size_t slot) const;
};

/// Whether what the engine reads is written to the log. What lies behind never is.
enum class LookLog : std::uint8_t { on, off };

/// Takes one look, within `recording`. A keychain that does not answer is a Problem.
Result<Slots> lookAtSlots(vaneinterface& gateway, const vaneinterface::Recording& recording,
                          LookLog log);

/// The problem of a keychain that gave this answer.
Problem keychainProblem(const vaneinterface::Answer& answer);

}  // namespace talvane
