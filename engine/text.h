#pragma once

// Text below the user interface is UTF-8. Where a length or a "character" counts it is the UTF-16
// code unit; letters and white space are Unicode's. A byte that is not UTF-8 counts as one
// character and is left as it is.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvane {

/// What a formatted nil reads as.
inline constexpr std::string_view nil_text = "(null)";

/// The text, or `nil_text`.
std::string_view orNil(const std::optional<std::string>& text);

/// One character of a text: a code point, or a byte that is not UTF-8.
struct Character {
  char32_t code_point = 0;  // the byte's value when it is not valid
  std::size_t length = 1;   // bytes
  bool valid = false;
};
/// The first character of a text that is not empty.
Character firstCharacter(std::string_view text);

/// Number of UTF-16 code units.
std::size_t utf16Length(std::string_view text);

/// The UTF-16 code units.
std::u16string utf16(std::string_view text);

bool isUtf8(std::string_view text);

bool isAscii(std::string_view text);

/// White space or a line separator, as Unicode classes them (categories Z*, U+0009 to U+000D,
/// U+0085).
bool isWhiteSpace(char32_t character);

std::string lowerCase(std::string_view text);
std::string upperCase(std::string_view text);

/// The text without the line separators (LF, VT, FF, CR, NEL, LS, PS) at either end.
std::string_view withoutLineEnds(std::string_view text);

/// The text without white space at either end.
std::string_view withoutBlanks(std::string_view text);

/// The pieces between the separators; always at least one, possibly empty, piece.
std::vector<std::string_view> split(std::string_view text, char separator);

/// The text with its percent escapes undone; as it was when an escape is malformed or the result is
/// not UTF-8.
std::string percentDecoded(std::string_view text);

/// The leading decimal integer: white space skipped, an optional sign, digits up to the first other
/// character; 0 without digits; the nearest limit when it does not fit.
std::int64_t leadingInteger(std::string_view text);

/// Bytes up to the first NUL, each byte above 127 as the Latin-1 character: raw bytes made fit for
/// a line of text.
std::string printableBytes(std::string_view bytes);

}  // namespace talvane
