#include "platform/new_token.h"

#include <memory>

#include "engine/text.h"

namespace talvane {

std::optional<std::string> problemWithNames(const SoftTokenInfo& token) {
  if (token.originalDescription().value_or("").empty() ||
      token.currentDescription().value_or("").empty()) {
    return "The token would have an empty name; give one with other characters than |";
  }
  if (!isUtf8(*token.description) || token.description->find('\0') != std::string::npos) {
    return "The name holds characters that cannot be stored; give it in plain UTF-8";
  }
  return std::nullopt;
}

std::string wordsFor(AuthUrlProblem problem) {
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

NewTokenResult storeNewToken(vaneinterface& gateway, const SoftTokenInfo& token) {
  NewTokenResult result;
  gateway.forgetOutcomes();
  if (const auto error = vane::NewToken(token, &result.response, &result.slot, false)) {
    result.kind = NewTokenResult::Kind::refused;
    result.error = *error;
    return result;
  }
  if (result.slot == vane::max_tokens) {
    result.kind = NewTokenResult::Kind::full;
    result.error = all_slots_taken;
    return result;
  }
  if (const auto& save = gateway.lastSave(); save.status != KeychainStatus::ok) {
    result.kind = NewTokenResult::Kind::keychain;
    result.error = save.words();
    return result;
  }
  std::unique_ptr<SoftTokenInfo> stored;
  if (!gateway.hasSaved() || !vane::ReadToken(static_cast<std::uint32_t>(result.slot), &stored) ||
      stored->description != token.description) {
    result.kind = NewTokenResult::Kind::unsealed;
    result.error = "This seed cannot be sealed on this computer; ask for another one";
  }
  return result;
}

}  // namespace talvane
