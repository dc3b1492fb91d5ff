#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "engine/base32.h"
#include "engine/cleared.h"
#include "engine/seed_text.h"
#include "engine/soft_token_info.h"
#include "engine/text.h"
#include "engine/url.h"
#include "engine/vane.h"

namespace talvane {
namespace {

constexpr const char* invalid_length = "Invalid seed length";
constexpr const char* invalid_character = "Invalid character in seed";
constexpr const char* no_device = "Failed to find unique device id";
constexpr const char* no_passcode = "Failed to generate passcode";

std::int32_t leadingInteger32(std::string_view text) {
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(
      std::clamp<std::int64_t>(leadingInteger(text), Limits::min(), Limits::max()));
}

// What a URL's query says of a token; a later attribute overrides an earlier one.
struct TokenAttributes {
  std::optional<std::string_view> secret;  // in the query
  std::optional<std::string> display;
  std::int32_t period = 30;
};

TokenAttributes tokenAttributes(const std::optional<Cleared<std::string>>& query) {
  TokenAttributes attributes;
  if (!query || query->get().empty()) return attributes;
  for (const std::string_view part : split(query->get(), '&')) {
    const std::size_t equals = part.find('=');
    const std::string_view attribute = part.substr(0, equals);
    const std::string_view value =
        equals == std::string_view::npos ? std::string_view() : part.substr(equals + 1);
    vane::log("vane: parseAuthURL: query '{}'   attr:'{}' value:'{}'", part, attribute, value);
    if (attribute == "secret") {
      attributes.secret = value;
    } else if (attribute == "period") {
      attributes.period = leadingInteger32(value);
    } else if (attribute == "display") {
      attributes.display = value;
    }
  }
  return attributes;
}

}  // namespace

std::optional<std::string> vane::NewToken(const SoftTokenInfo& token,
                                          std::optional<std::string>* response, std::int32_t* index,
                                          bool dummy) {
  const std::string_view seed = token.seed32 ? std::string_view(token.seed32->get()) : "";
  const std::size_t length = utf16Length(seed);
  if (length != 13 && length != 16) {
    log("  vane: NewToken: invalid seed length ({})", length);
    return invalid_length;
  }
  const Cleared<std::string> test_seed = paddedSeed(seed);
  log("  vane: NewToken: temporary seed: {}", test_seed.get());
  if (!isAscii(test_seed.get())) {
    log("  vane: NewToken: convert to C string failed");
    return invalid_character;
  }
  if (!base32_decode(test_seed.get(), {})) {
    log("  vane: NewToken: base32 decode failed");
    return invalid_character;
  }

  if (length == 16) {
    log("  vane: NewToken: seed length 16");
  } else {
    log("  vane: NewToken: seed length 13");
    std::uint32_t suffix = 0;
    const auto full = ExpandSeed(token, &suffix);
    if (!full) {
      log("  vane: NewToken: Expand seed failed");
      return no_device;
    }
    const std::int64_t now = gateway_ != nullptr ? gateway_->CurrentTime() : 0;
    const auto passcode = GeneratePasscode(full->get(), token.counterAt(now));
    if (!passcode) {
      log("  vane: NewToken: Generate passcode failed");
      return no_passcode;
    }
    std::uint32_t p = 0;
    std::from_chars(passcode->data(), passcode->data() + passcode->size(), p);
    if (p == 0) {
      log("  vane: NewToken: Generate passcode 0");
      return no_passcode;
    }
    log("  vane: NewToken: Passcode (long): {}", p);
    *response = packedPair(p, suffix);
    log("vane: NewToken: Response: {}", **response);
  }

  std::int32_t slot = slot_of_same_name;
  if (dummy) {
    log("  vane: NewToken: dummy run, not writing");
  } else {
    WriteToken(&slot, token);
  }
  if (index != nullptr) {
    *index = slot;
    log("  vane: NewToken: updating index[out]:{}", slot);
  }
  log("  vane: NewToken: returning nil (OK)");
  return std::nullopt;
}

bool vane::ParseAuthUrl(std::string_view url, std::unique_ptr<SoftTokenInfo>* token,
                        AuthUrlProblem* problem) {
  const auto end = [problem](AuthUrlProblem found) {
    if (problem != nullptr) *problem = found;
    return found == AuthUrlProblem::none;
  };
  log("vane: parseAuthURL: begin: {}", url);
  const UrlParts parts = urlParts(url);
  log("vane: parseAuthURL: parsed scheme:{}", orNil(parts.scheme));
  log("vane: parseAuthURL: parsed host:{}", orNil(parts.host));
  log("vane: parseAuthURL: parsed path:{}", orNil(parts.path));
  log("vane: parseAuthURL: parsed query:{}", orNil(parts.query));
  if (parts.scheme != "otpauth") {
    log("vane: parseAuthURL: invalid scheme");
    return end(AuthUrlProblem::invalid_scheme);
  }
  if (parts.host != "totp") {
    log("vane: parseAuthURL: invalid type");
    return end(AuthUrlProblem::invalid_type);
  }
  const TokenAttributes attributes = tokenAttributes(parts.query);
  if (!attributes.secret) {
    log("vane: parseAuthURL: seed not found");
    return end(AuthUrlProblem::no_seed);
  }
  if (attributes.period != 30 && attributes.period != 60) {
    log("vane: parseAuthURL: invalid period: {}", attributes.period);
    return end(AuthUrlProblem::invalid_period);
  }
  auto parsed = std::make_unique<SoftTokenInfo>();
  const std::string& path = *parts.path;
  parsed->description = path.empty() ? path : path.substr(1);
  parsed->seed32 = *attributes.secret;
  parsed->period = attributes.period;
  if (attributes.display) parsed->updateDescription(*attributes.display);
  *token = std::move(parsed);
  return end(AuthUrlProblem::none);
}

}  // namespace talvane
