#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <tl/expected.hpp>

namespace talvane {

/// Why something asked of a user's tokens was not done. Unless the words say otherwise, nothing was
/// changed.
struct Problem {
  /// What the caller can do next.
  enum class Next : std::uint8_t {
    other_input,    // give another seed or name
    confirm,        // the token in `slot` would go: ask, then replace it
    make_room,      // all slots hold tokens: delete one
    look_again,     // the tokens changed in the meantime: read them again
    try_again,      // another program is changing them, or got in between
    clear_slot,     // what is in `slot` is in the way: delete it first
    check_keychain  // absent, locked, failing, full, not answering
  };
  Next next = Next::check_keychain;
  /// For the user: what happened and what to do, as one sentence without a final full stop.
  std::string words;
  std::optional<std::int32_t> slot{};
};

template <typename Value>
using Result = tl::expected<Value, Problem>;

}  // namespace talvane
