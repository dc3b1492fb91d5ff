#pragma once

#include <string>
#include <string_view>

namespace talvane {

/// The text with everything escaped that may not stand in a URL as it is (RFC 3986, section 2):
/// blanks, control characters, bytes above 127, and "\"#%<>[\\]^`{|}". Reserved characters, "&"
/// and "=" among them, are left alone.
std::string percentEscaped(std::string_view text);

}  // namespace talvane
