#pragma once

// One look at all 32 slots, including those after the slot where the engine stops reading.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "engine/vane.h"
#include "platform/device_identifiers.h"
#include "platform/vaneinterface.h"
#include "store/problem.h"
#include "store/stored_tokens.h"

namespace talvane {

struct Slots {
  enum class State : std::uint8_t { empty, loads, damaged, foreign };

  std::array<State, vane::max_tokens> states{};
  vane::TokenArray tokens;  // null unless the state is `loads`
  /// Where the state is `foreign`: what its record was stored under.
  std::array<Identity, vane::max_tokens> stored_under;
  Identity identity;  // today's

  /// The number of tokens that the engine reads: those before the first slot that does not load.
  [[nodiscard]] std::size_t count() const;
  /// The number of records after the slot.
  [[nodiscard]] std::int32_t recordsBehind(std::size_t slot) const;
  /// What hides records from the engine: the first record after the tokens if it does not load,
  /// otherwise the empty slot before it. nullopt if there is no such record.
  [[nodiscard]] std::optional<Obstacle> obstacle() const;
  /// The first slot, starting at `from`, whose record does not load.
  [[nodiscard]] std::optional<std::size_t> firstUnreadable(std::size_t from) const;

 private:
  [[nodiscard]] Obstacle obstacleAt(std::size_t slot) const;
};

/// Whether to log the slots that the engine reads. Later slots are never logged.
enum class LookLog : std::uint8_t { on, off };

/// Looks at the slots, within `recording`. A keychain that does not answer is a Problem.
Result<Slots> lookAtSlots(vaneinterface& gateway, const vaneinterface::Recording& recording,
                          LookLog log);

/// The Problem for a keychain that gave this answer.
Problem keychainProblem(const vaneinterface::Answer& answer);

}  // namespace talvane
