#include "engine/text.h"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace talvane {
namespace {

void append(std::string& text, char32_t code_point) {
  std::array<utf8proc_uint8_t, 4> bytes{};
  const auto length = utf8proc_encode_char(static_cast<utf8proc_int32_t>(code_point), bytes.data());
  text.append(reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(length));
}

// ASCII letters from `first` to `last` change by `change`, which does without the tables of all of
// Unicode: they take memory once they are used. Others change as `mapping` has it.
std::string mapped(std::string_view text, char first, char last, int change,
                   utf8proc_int32_t (*mapping)(utf8proc_int32_t)) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    if (!character.valid) {
      result += text.front();
    } else if (character.code_point < 0x80) {
      const char c = text.front();
      result += static_cast<char>(c >= first && c <= last ? c + change : c);
    } else {
      append(result,
             static_cast<char32_t>(mapping(static_cast<utf8proc_int32_t>(character.code_point))));
    }
    text.remove_prefix(character.length);
  }
  return result;
}

bool isLineEnd(char32_t c) {
  return (c >= 0x0A && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029;
}

template <typename Predicate>
std::string_view withoutEnds(std::string_view text, Predicate unwanted) {
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    if (!character.valid || !unwanted(character.code_point)) break;
    text.remove_prefix(character.length);
  }
  while (!text.empty()) {
    std::size_t start = text.size() - 1;
    while (start > 0 && text.size() - start < 4 &&
           (static_cast<unsigned char>(text[start]) & 0xC0U) == 0x80U) {
      --start;
    }
    const Character character = firstCharacter(text.substr(start));
    if (!character.valid || start + character.length != text.size() ||
        !unwanted(character.code_point)) {
      break;
    }
    text.remove_suffix(character.length);
  }
  return text;
}

// Letters that Unicode does not take for a letter and a mark, but their readers do.
constexpr std::pair<char32_t, std::string_view> plain_letters[] = {
    {U'ł', "l"}, {U'ø', "o"}, {U'đ', "d"},  {U'ħ', "h"},
    {U'ŧ', "t"}, {U'ı', "i"}, {U'æ', "ae"}, {U'œ', "oe"}};

constexpr std::string_view replacement = "\xEF\xBF\xBD";
constexpr std::size_t longest_shown_name = 60;

template <typename Predicate>
std::string replaced(std::string_view text, Predicate unwanted) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    const bool shown = character.valid && !unwanted(character.code_point);
    result += shown ? text.substr(0, character.length) : replacement;
    text.remove_prefix(character.length);
  }
  return result;
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

}  // namespace

Character firstCharacter(std::string_view text) {
  const auto byte = static_cast<unsigned char>(text.front());
  if (byte < 0x80) return {byte, 1, true};
  utf8proc_int32_t code_point = 0;
  const auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                       static_cast<utf8proc_ssize_t>(text.size()), &code_point);
  if (length <= 0) return {byte, 1, false};
  return {static_cast<char32_t>(code_point), static_cast<std::size_t>(length), true};
}

std::string_view orNil(const std::optional<std::string>& text) {
  return text ? std::string_view(*text) : nil_text;
}

std::size_t utf16Length(std::string_view text) {
  std::size_t units = 0;
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    units += character.valid && character.code_point > 0xFFFF ? 2 : 1;
    text.remove_prefix(character.length);
  }
  return units;
}

std::u16string utf16(std::string_view text) {
  std::u16string units;
  units.reserve(text.size());
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    if (character.valid && character.code_point > 0xFFFF) {
      const char32_t offset = character.code_point - 0x10000;
      units += static_cast<char16_t>(0xD800 + (offset >> 10));
      units += static_cast<char16_t>(0xDC00 + (offset & 0x3FF));
    } else {
      units += static_cast<char16_t>(character.code_point);
    }
    text.remove_prefix(character.length);
  }
  return units;
}

bool isHidden(char32_t character) {
  if (character < 0x80) return character < 0x20 || character == 0x7F;
  if (character == 0xFE0E || character == 0xFE0F) return false;
  const utf8proc_property_t* property =
      utf8proc_get_property(static_cast<utf8proc_int32_t>(character));
  switch (property->category) {
    case UTF8PROC_CATEGORY_CC:
    case UTF8PROC_CATEGORY_CF:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
      return true;
    default:
      return property->ignorable != 0;
  }
}

std::string printable(std::string_view text) {
  return replaced(text, isHidden);
}

std::string printableLines(std::string_view text) {
  return replaced(text, [](char32_t c) { return c != U'\n' && isHidden(c); });
}

std::string shownName(std::string_view name) {
  std::string_view rest = name;
  for (std::size_t count = 0; count < longest_shown_name && !rest.empty(); ++count) {
    rest.remove_prefix(firstCharacter(rest).length);
  }
  const std::string shown = printable(name.substr(0, name.size() - rest.size()));
  return rest.empty() ? shown : shown + "…";
}

bool isUtf8(std::string_view text) {
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    if (!character.valid) return false;
    text.remove_prefix(character.length);
  }
  return true;
}

bool isAscii(std::string_view text) {
  unsigned all = 0;  // no early end: passcodes ask this of sixteen characters
  for (const char c : text) all |= static_cast<unsigned char>(c);
  return all < 0x80;
}

bool isWhiteSpace(char32_t character) {
  if (character < 0x80) return character == ' ' || (character >= 0x09 && character <= 0x0D);
  if (character == 0x85) return true;
  const auto category = utf8proc_category(static_cast<utf8proc_int32_t>(character));
  return category == UTF8PROC_CATEGORY_ZS || category == UTF8PROC_CATEGORY_ZL ||
         category == UTF8PROC_CATEGORY_ZP;
}

std::string lowerCase(std::string_view text) {
  return mapped(text, 'A', 'Z', 'a' - 'A', utf8proc_tolower);
}

std::string upperCase(std::string_view text) {
  return mapped(text, 'a', 'z', 'A' - 'a', utf8proc_toupper);
}

std::string searchForm(std::string_view text) {
  const std::string valid = replaced(text, [](char32_t) { return false; });
  constexpr auto options =
      static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_DECOMPOSE | UTF8PROC_COMPAT |
                                     UTF8PROC_CASEFOLD | UTF8PROC_STRIPMARK | UTF8PROC_IGNORE);
  utf8proc_uint8_t* bytes = nullptr;
  const auto length = utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(valid.data()),
                                   static_cast<utf8proc_ssize_t>(valid.size()), &bytes, options);
  if (length < 0) return lowerCase(valid);  // no memory
  const std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owned(bytes, &std::free);
  std::string result;
  for (std::string_view rest(reinterpret_cast<const char*>(bytes),
                             static_cast<std::size_t>(length));
       !rest.empty();) {
    const Character character = firstCharacter(rest);
    const auto* const plain =
        std::find_if(std::begin(plain_letters), std::end(plain_letters),
                     [&](const auto& pair) { return pair.first == character.code_point; });
    result += plain == std::end(plain_letters) ? rest.substr(0, character.length) : plain->second;
    rest.remove_prefix(character.length);
  }
  return result;
}

std::string_view withoutLineEnds(std::string_view text) {
  return withoutEnds(text, isLineEnd);
}

std::string_view trimmed(std::string_view text) {
  return withoutEnds(text, isWhiteSpace);
}

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  for (;;) {
    const std::size_t end = text.find(separator);
    pieces.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return pieces;
    text.remove_prefix(end + 1);
  }
}

std::string percentDecoded(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      result += text[i];
      continue;
    }
    const int high = i + 2 < text.size() ? hexDigit(text[i + 1]) : -1;
    const int low = i + 2 < text.size() ? hexDigit(text[i + 2]) : -1;
    if (high < 0 || low < 0) return std::string(text);
    result += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return isUtf8(result) ? result : std::string(text);
}

std::int64_t leadingInteger(std::string_view text) {
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    if (!character.valid || !isWhiteSpace(character.code_point)) break;
    text.remove_prefix(character.length);
  }
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  using Limits = std::numeric_limits<std::int64_t>;
  std::int64_t value = 0;  // kept negative: the negative side reaches one further
  for (const char c : text) {
    if (c < '0' || c > '9') break;
    const int digit = c - '0';
    if (value < (Limits::min() + digit) / 10) return negative ? Limits::min() : Limits::max();
    value = value * 10 - digit;
  }
  if (negative) return value;
  return value == Limits::min() ? Limits::max() : -value;
}

std::string printableBytes(std::string_view bytes) {
  std::string text;
  for (const char c : bytes.substr(0, bytes.find('\0'))) {
    append(text, static_cast<unsigned char>(c));
  }
  return text;
}

}  // namespace talvane
