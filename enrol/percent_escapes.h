#pragma once

#include <string>
#include <string_view>

#include "engine/cleared.h"

namespace talvane {

/// Percent-encodes what a URL must not contain (RFC 3986, section 2): spaces, control characters,
/// bytes above 127, and "\"#%<>[\\]^`{|}". Leaves reserved characters alone, "&" and "=" included.
Cleared<std::string> percentEscaped(std::string_view text);

}  // namespace talvane
