#include "store/new_token.h"

#include <utf8proc.h>

#include <string>

#include "engine/text.h"
#include "engine/vane.h"

namespace talvane {
namespace {

using Next = Problem::Next;

// What does not show, or changes how other characters show. The two that choose between text and
// emoji are no trouble.
bool isHidden(utf8proc_int32_t character) {
  if (character == 0xFE0E || character == 0xFE0F) return false;
  const utf8proc_property_t* property = utf8proc_get_property(character);
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

bool hasHidden(std::string_view text) {
  const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  auto left = static_cast<utf8proc_ssize_t>(text.size());
  while (left > 0) {
    utf8proc_int32_t character = 0;
    const utf8proc_ssize_t length = utf8proc_iterate(bytes, left, &character);
    if (length <= 0 || isHidden(character)) return true;
    bytes += length;
    left -= length;
  }
  return false;
}

std::optional<Problem> problemWithText(std::string_view text) {
  if (!isUtf8(text)) {
    return Problem{Next::other_input,
                   "The name holds characters that cannot be stored; give it in plain UTF-8"};
  }
  if (hasHidden(text)) {
    return Problem{Next::other_input,
                   "The name holds characters that do not show or that change the direction of "
                   "writing; give it without them"};
  }
  return std::nullopt;
}

Problem noName() {
  return {Next::other_input,
          "The token would have an empty name; give one with other characters than |"};
}

const char* wordsFor(AuthUrlProblem problem) {
  switch (problem) {
    case AuthUrlProblem::invalid_scheme:
      return "This is not an otpauth:// URL";
    case AuthUrlProblem::invalid_type:
      return "Only otpauth://totp/ URLs can be imported; this one is of another type";
    case AuthUrlProblem::no_seed:
      return "The URL holds no secret; get a complete one";
    case AuthUrlProblem::invalid_period:
      return "The URL's period is neither 30 nor 60 seconds";
    case AuthUrlProblem::none:
      break;
  }
  return "The URL cannot be imported";
}

}  // namespace

std::optional<Problem> problemWithNames(const SoftTokenInfo& token) {
  if (token.originalDescription().value_or("").empty() ||
      token.currentDescription().value_or("").empty()) {
    return noName();
  }
  return problemWithText(*token.description);
}

std::optional<Problem> problemWithNewName(const SoftTokenInfo& token) {
  if (token.currentDescription().value_or("").empty()) return noName();
  const std::string_view names = *token.description;
  return problemWithText(names.substr(names.find('|') + 1));
}

Result<std::unique_ptr<SoftTokenInfo>> tokenFromUrl(std::string_view url) {
  std::unique_ptr<SoftTokenInfo> token;
  AuthUrlProblem problem = AuthUrlProblem::none;
  if (vane::ParseAuthUrl(url, &token, &problem)) return token;
  return tl::unexpected(Problem{Next::other_input, wordsFor(problem)});
}

}  // namespace talvane
