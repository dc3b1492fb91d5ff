#include "enrol/percent_escapes.h"

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/cleared.h"

namespace talvane {

Cleared<std::string> percentEscaped(std::string_view text) {
  constexpr std::string_view hexadecimal = "0123456789ABCDEF";
  constexpr std::string_view never_in_urls = "\"#%<>[\\]^`{|}";
  Cleared<std::string> result;
  std::string& escaped = result.mutableValue();
  escaped.reserve(3 * text.size());
  for (const char character : text) {
    const auto byte = static_cast<std::uint8_t>(character);
    if (byte > 0x20 && byte < 0x7f && never_in_urls.find(character) == std::string_view::npos) {
      escaped += character;
      continue;
    }
    escaped += '%';
    escaped += hexadecimal[byte >> 4U];
    escaped += hexadecimal[byte & 0xfU];
  }
  return result;
}

}  // namespace talvane
