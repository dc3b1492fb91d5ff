#pragma once

#include <string>
#include <string_view>

#include "engine/cleared.h"

namespace talvane {

/// A 13-character seed filled up to the 16 characters that base32 needs; any other as it is.
Cleared<std::string> paddedSeed(std::string_view seed);

}  // namespace talvane
