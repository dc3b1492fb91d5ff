#pragma once

#include <cstdint>
#include <optional>
#include <tl/expected.hpp>

#include "platform/translation.h"

namespace talvane {

/// The words for a failed allocation.
inline constexpr const char* not_enough_memory =
    marked("Not enough memory; close other programs and try again");

/// Why an operation on the user's tokens failed. Unless the words say otherwise, it changed
/// nothing.
struct Problem {
  /// What the caller can do next.
  enum class Next : std::uint8_t {
    other_input,    // give another seed or name
    confirm,        // would replace the token in `slot`: ask first
    make_room,      // all slots hold tokens: delete one
    look_again,     // the tokens changed in the meantime: read them again
    try_again,      // another program is changing the tokens, or did in between
    clear_slot,     // the record at `slot` is in the way: repair it, or else delete it
    close_gap,      // the gap at `slot` is in the way: delete it
    check_keychain  // absent, locked, failing, full, not answering
  };
  Next next = Next::check_keychain;
  /// For the user: what happened and what to do, without a full stop at the end.
  Words words;
  std::optional<std::int32_t> slot{};
  bool locked = false;  // the keychain is: the user may unlock it
};

template <typename Value>
using Result = tl::expected<Value, Problem>;

}  // namespace talvane
