#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "engine/soft_token_info.h"
#include "platform/translation.h"

namespace talvane {

/// A slot that hides records, or is in the way of new ones.
struct Obstacle {
  enum class Kind : std::uint8_t {
    gap,      // an empty slot, with a token behind it
    damaged,  // a record that cannot be decoded
    foreign   // a record of another computer or user, or an altered one
  };
  Kind kind = Kind::gap;
  /// After the last token that was read; directly after it unless empty slots lie between.
  std::int32_t slot = 0;
  std::int32_t hidden = 0;  // number of records after it
  Words words;              // for the user: what it is, what it hides, and why it does not load
  Words repair;             // for the user: what may make it load again; empty for a gap
};

/// Whether both are one token: created under the same name, with the same seed. A later name makes
/// no difference.
bool isSameToken(const SoftTokenInfo& a, const SoftTokenInfo& b);

/// The stored tokens: those in slots 0, 1, ..., in order, none of them null.
struct StoredTokens {
  std::vector<std::unique_ptr<SoftTokenInfo>> list;
  std::optional<Obstacle> obstacle;
};

}  // namespace talvane
