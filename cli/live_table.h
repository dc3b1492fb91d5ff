#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "store/stored_tokens.h"

namespace talvane {

/// How many colours the terminal shows.
enum class ColourDepth : std::uint8_t { none, sixteen, all };

ColourDepth colourDepth();

/// The tokens and their passcodes at time `now`, as plain lines.
std::string plainTable(const StoredTokens& tokens, std::int64_t now);

/// The same for a terminal of this width: passcodes coloured by the time left, and a countdown bar
/// below them.
std::string colouredTable(const StoredTokens& tokens, std::int64_t now, std::size_t columns,
                          ColourDepth depth);

}  // namespace talvane
