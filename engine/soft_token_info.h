#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "engine/cleared.h"

namespace talvane {

/// One token. Main thread only.
class SoftTokenInfo {
 public:
  /// The name the token was created with and, after a "|", the name that the user gave it later.
  /// Without a later name there is no bar. nullopt if the token has no name yet.
  std::optional<std::string> description;
  /// The seed in base32: 16 characters once read from the store; 13 only between entry and
  /// expansion.
  std::optional<Cleared<std::string>> seed32;
  /// 1 means time-based, the only type.
  std::int32_t type = 1;
  /// Kept with the token, but passcodes always have six digits.
  std::int32_t digits = 6;
  /// −1 means not counter-based.
  std::int32_t counter = -1;
  /// Seconds that a passcode lasts: 30 or 60.
  std::int32_t period = 30;
  /// The device identity under which the stored seed was sealed; 0 if unknown.
  std::uint32_t ek = 0;

  /// The part of `description` before the first "|", or all of it.
  [[nodiscard]] std::optional<std::string> originalDescription() const;
  /// The part between the first "|" and the second, or all of it without a "|".
  [[nodiscard]] std::optional<std::string> currentDescription() const;

  /// Gives the token a new name beside the one it was created with. Drops every "|", then decodes
  /// percent escapes (so "%7C" does become a "|"), then turns each "+" into a space. A name of bars
  /// alone changes nothing.
  void updateDescription(std::string_view name);

  /// Whole periods from the Unix epoch to `time` (seconds); 0 if the period is not positive.
  [[nodiscard]] std::int64_t counterAt(std::int64_t time) const;
};

}  // namespace talvane
