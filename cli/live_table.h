#pragma once

#include <cstdint>
#include <string>

#include "cli/session.h"

namespace talvane {

/// How much colour the terminal shows.
enum class ColourDepth : std::uint8_t { none, sixteen, all };

ColourDepth colourDepth();

/// The tokens with their passcodes at one moment, as plain lines.
std::string plainTable(const StoredTokens& tokens, std::int64_t now);

/// The same for a terminal of that width: passcodes coloured by the time left, a countdown bar
/// below.
std::string colouredTable(const StoredTokens& tokens, std::int64_t now, std::size_t columns,
                          ColourDepth depth);

}  // namespace talvane
