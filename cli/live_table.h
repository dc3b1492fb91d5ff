#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "store/stored_tokens.h"

namespace talvane {

/// How many colours the terminal shows.
enum class ColourDepth : std::uint8_t { none, sixteen, all };

ColourDepth colourDepth();

/// The tokens and their passcodes at time `now`, as plain lines; names are cut to fit into
/// `columns`, if given.
std::string plainTable(const StoredTokens& tokens, std::int64_t now,
                       std::optional<std::size_t> columns);

/// The same for a live screen of this width: passcodes coloured by the time left, and a countdown
/// bar below them. In the last five seconds of a passcode the next one stands beside it, faint,
/// where there is room.
std::string colouredTable(const StoredTokens& tokens, std::int64_t now, std::size_t columns,
                          ColourDepth depth);

}  // namespace talvane
