#include "cli/new_token.h"

#include <fmt/core.h>

#include "cli/failure.h"
#include "cli/terminal.h"
#include "engine/text.h"

namespace talvane {
namespace {

void refuseDuplicate(const Session::Tokens& tokens, const SoftTokenInfo& token) {
  for (std::size_t i = 0; i < tokens.list.size(); ++i) {
    if (tokens.list[i]->originalDescription() != token.originalDescription()) continue;
    throw Failure(exit_failed,
                  fmt::format("A token created as \"{}\" is in slot {} already; give another name, "
                              "or --replace to replace it",
                              token.originalDescription().value_or(""), i));
  }
}

std::string advice(const std::string& error) {
  if (error == "Invalid seed length") return "; a seed has 13 or 16 characters";
  if (error == "Invalid character in seed") return "; a seed has the letters A to Z and 2 to 7";
  return "";
}

// The gateway's word on the last save; the engine itself does not pass it on.
void requireSaved(const vaneinterface::Outcome& save) {
  if (save.status != KeychainStatus::ok) throw Failure(exit_keychain, save.error.substr(4));
}

}  // namespace

void requireUsableNames(const SoftTokenInfo& token, ExitCode code) {
  if (token.originalDescription().value_or("").empty() ||
      token.currentDescription().value_or("").empty()) {
    throw Failure(code,
                  "The token would have an empty name; give one with other characters than |");
  }
  if (!isUtf8(*token.description) || token.description->find('\0') != std::string::npos) {
    throw Failure(code, "The name holds characters that cannot be stored; give it in plain UTF-8");
  }
}

void storeNewToken(Session& session, const SoftTokenInfo& token, bool replace) {
  StoreChange change(session);
  const Session::Tokens tokens = session.readTokens();
  if (!replace) refuseDuplicate(tokens, token);
  std::optional<std::string> response;
  std::int32_t slot = vane::slot_of_same_name;
  if (const auto error = vane::NewToken(token, &response, &slot, false)) {
    throw Failure(exit_failed, *error + advice(*error));
  }
  if (slot == vane::max_tokens) {
    throw Failure(exit_failed, "All 32 slots hold tokens; delete one first");
  }
  // What could not be read hides the rest and is not written over: the user must delete it first.
  const auto& save = session.gateway().lastSave();
  if (save.status == KeychainStatus::cannot_decode) throw Failure(exit_keychain, tokens.problem);
  requireSaved(save);
  std::unique_ptr<SoftTokenInfo> stored;
  if (!vane::ReadToken(static_cast<std::uint32_t>(slot), &stored) ||
      stored->description != token.description) {
    throw Failure(exit_failed, "This seed cannot be sealed on this computer; ask for another one");
  }
  change.finish();
  fmt::print("Stored \"{}\" in slot {}.\n", printable(stored->currentDescription().value_or("")),
             slot);
  if (response) {
    fmt::print(
        "Response code: {}\n"
        "Give this code to your administrator, or enter it where you got the seed: the server "
        "needs\n"
        "it to complete the seed as this computer has, and accepts passcodes only after that.\n",
        *response);
  }
}

}  // namespace talvane
