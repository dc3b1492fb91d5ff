#pragma once

// Text below the user interface is UTF-8. Lengths and "characters" count UTF-16 code units. Letters
// and white space are Unicode's. An invalid byte counts as one character and stays unchanged.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/cleared.h"

namespace talvane {

/// The text of a formatted nil.
inline constexpr std::string_view nil_text = "(null)";

/// The text, or `nil_text`.
std::string_view orNil(const std::optional<std::string>& text);
template <typename Text>
std::string_view orNil(const std::optional<Cleared<Text>>& text) {
  return text ? std::string_view(text->get()) : nil_text;
}

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

/// Whether the character is invisible, ends a line, or changes how others show: control and format
/// characters, separators of lines, and those that fonts leave out. The two that choose between
/// text and emoji do no harm and are not hidden.
bool isHidden(char32_t character);

/// The text as it may be shown: each hidden character and each byte that is not UTF-8 is replaced
/// by U+FFFD. Nobody can control a terminal or fake words of ours with it.
std::string printable(std::string_view text);
/// The same, but line feeds stay.
std::string printableLines(std::string_view text);
/// A name within a sentence: printable, and cut with "…" after 60 characters.
std::string shownName(std::string_view name);

bool isUtf8(std::string_view text);

bool isAscii(std::string_view text);

/// White space or a line separator, as Unicode classes them (categories Z*, U+0009 to U+000D,
/// U+0085).
bool isWhiteSpace(char32_t character);

std::string lowerCase(std::string_view text);
std::string upperCase(std::string_view text);

/// The text as a search compares it: without case, accents, strokes through letters and hidden
/// characters, and with the usual form of each character ("Łódź" is "lodz").
std::string searchForm(std::string_view text);

/// The text without the line separators (LF, VT, FF, CR, NEL, LS, PS) at either end.
std::string_view withoutLineEnds(std::string_view text);

/// The text without white space at either end.
std::string_view trimmed(std::string_view text);

/// The pieces between the separators: at least one, possibly empty.
std::vector<std::string_view> split(std::string_view text, char separator);

/// The text with percent escapes decoded; unchanged if an escape is malformed or the result is not
/// UTF-8.
std::string percentDecoded(std::string_view text);

/// The leading decimal integer: skips white space, then takes an optional sign and digits up to the
/// first other character. 0 without digits; the nearest limit if it does not fit.
std::int64_t leadingInteger(std::string_view text);

/// Raw bytes as text: the bytes up to the first NUL, those above 127 as Latin-1 characters.
std::string printableBytes(std::string_view bytes);

}  // namespace talvane
