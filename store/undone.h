#pragma once

#include <cstdint>

#include "store/problem.h"
#include "store/stored_tokens.h"

namespace talvane {

/// What a change did not do.
enum class Undone : std::uint8_t { stored, renamed, moved, deleted, changed };

/// Another program was faster: the tokens are not those that the user saw.
Problem changedMeanwhile(Undone undone);

/// The keychain did not keep what it said it had, or gave what it did not keep.
Problem cutShort(Undone undone);

/// The record, or the gap, would be lost or would hide the token.
Problem inTheWay(Undone undone, const Obstacle& obstacle);

}  // namespace talvane
