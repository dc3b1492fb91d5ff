#include "store/new_token.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tl/expected.hpp>
#include <utility>

#include "engine/soft_token_info.h"
#include "engine/text.h"
#include "engine/url.h"
#include "engine/vane.h"
#include "platform/translation.h"
#include "store/problem.h"

namespace talvane {
namespace {

using Next = Problem::Next;

std::optional<Problem> problemWithText(std::string_view text) {
  if (!isUtf8(text)) {
    return Problem{Next::other_input, translated("The name is not valid UTF-8; enter it again")};
  }
  if (printable(text) != text) {
    return Problem{Next::other_input,
                   translated("The name has characters that are invisible or that change the "
                              "direction of writing; leave them out")};
  }
  return std::nullopt;
}

Problem noName() {
  return {Next::other_input,
          translated("The name is empty; enter at least one character other than |")};
}

Words wordsFor(AuthUrlProblem problem) {
  switch (problem) {
    case AuthUrlProblem::invalid_scheme:
      return translated("This is not an otpauth:// URL; use the URL or QR code of a token");
    case AuthUrlProblem::invalid_type:
      return translated("This URL is for another type of token; use an otpauth://totp/ URL");
    case AuthUrlProblem::no_seed:
      return translated("The URL has no secret; get a complete URL");
    case AuthUrlProblem::invalid_period:
      return translated("The URL's period is neither 30 nor 60 seconds; ask for another URL");
    case AuthUrlProblem::none:
      break;
  }
  return translated("Cannot import this URL; ask for another one");
}

bool isSha1(std::string_view algorithm) {
  std::string name = lowerCase(algorithm);
  name.erase(std::remove(name.begin(), name.end(), '-'), name.end());
  return name == "sha1" || name == "hmacsha1";
}

// Why the engine's passcodes would not be those that the URL asks for; empty if they are. The
// engine leaves out what it does not know, and what is not written in lower case.
Words problemWithQuery(std::string_view url, std::int32_t period) {
  const UrlParts parts = urlParts(url);
  if (!parts.query) return {};
  for (const std::string_view part : split(parts.query->get(), '&')) {
    const std::size_t equals = part.find('=');
    if (equals == std::string_view::npos) continue;
    const std::string key = lowerCase(percentDecoded(part.substr(0, equals)));
    if (key != "digits" && key != "algorithm" && key != "period") continue;
    const std::string value = percentDecoded(part.substr(equals + 1));
    if (value.empty()) continue;
    if (key == "digits" && leadingInteger(value) != 6) {
      return translatedWith(
          "This URL asks for passcodes of {} digits, and this program makes 6 only; ask for "
          "another URL",
          shownName(value));
    }
    if (key == "algorithm" && !isSha1(value)) {
      return translatedWith(
          "This URL asks for the algorithm {}, and this program knows SHA1 only; ask for another "
          "URL",
          shownName(value));
    }
    if (key == "period" && leadingInteger(value) != period) {
      return translatedWith(
          "This URL asks for a period of {} seconds in a way that this program cannot read; ask "
          "for another URL",
          shownName(value));
    }
  }
  return {};
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

std::string questionBefore(const SoftTokenInfo& token, const std::optional<std::string>& replaces) {
  const std::string name = shownName(token.currentDescription().value_or(""));
  if (!replaces) {
    return translatedWith("Add the token \"{}\", with a new passcode every {} seconds?", name,
                          token.period);
  }
  return translatedWith(
      "Replace the stored token \"{}\"? It will be deleted.\n\n"
      "The new token is \"{}\", with a new passcode every {} seconds.",
      shownName(*replaces), name, token.period);
}

Result<std::unique_ptr<SoftTokenInfo>> tokenFromUrl(std::string_view url) {
  std::unique_ptr<SoftTokenInfo> token;
  AuthUrlProblem problem = AuthUrlProblem::none;
  if (!vane::ParseAuthUrl(url, &token, &problem)) {
    return tl::unexpected(Problem{Next::other_input, wordsFor(problem)});
  }
  if (Words words = problemWithQuery(url, token->period); !words.empty()) {
    return tl::unexpected(Problem{Next::other_input, std::move(words)});
  }
  return token;
}

}  // namespace talvane
