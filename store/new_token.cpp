#include "store/new_token.h"

#include <utf8proc.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tl/expected.hpp>

#include "engine/soft_token_info.h"
#include "engine/text.h"
#include "engine/vane.h"
#include "store/problem.h"

namespace talvane {
namespace {

using Next = Problem::Next;

// Whether the character is invisible or changes how others show. The two that choose between text
// and emoji are harmless.
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
    return Problem{Next::other_input, "The name is not valid UTF-8; enter it again"};
  }
  if (hasHidden(text)) {
    return Problem{Next::other_input,
                   "The name has characters that are invisible or that change the direction of "
                   "writing; leave them out"};
  }
  return std::nullopt;
}

Problem noName() {
  return {Next::other_input, "The name is empty; enter at least one character other than |"};
}

const char* wordsFor(AuthUrlProblem problem) {
  switch (problem) {
    case AuthUrlProblem::invalid_scheme:
      return "This is not an otpauth:// URL; use the URL or QR code of a token";
    case AuthUrlProblem::invalid_type:
      return "This URL is for another type of token; use an otpauth://totp/ URL";
    case AuthUrlProblem::no_seed:
      return "The URL has no secret; get a complete URL";
    case AuthUrlProblem::invalid_period:
      return "The URL's period is neither 30 nor 60 seconds; ask for another URL";
    case AuthUrlProblem::none:
      break;
  }
  return "Cannot import this URL; ask for another one";
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
