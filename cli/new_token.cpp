#include "cli/new_token.h"

#include <fmt/core.h>

#include "cli/failure.h"
#include "cli/terminal.h"
#include "platform/new_token.h"

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

}  // namespace

void addNewToken(Session& session, const SoftTokenInfo& token, bool replace) {
  using Kind = NewTokenResult::Kind;
  SessionChange change(session);
  const Session::Tokens tokens = session.readTokens();
  if (!replace) refuseDuplicate(tokens, token);
  const NewTokenResult result = storeNewToken(session.gateway(), token);
  if (result.kind == Kind::keychain) {
    // What could not be read hides the rest and is not written over: it must be deleted first.
    const bool hidden = session.gateway().lastSave().status == KeychainStatus::cannot_decode;
    throw Failure(exit_keychain, hidden ? tokens.problem : result.error);
  }
  if (result.kind != Kind::stored) throw Failure(exit_failed, result.error + advice(result.error));
  change.finish();
  fmt::print("Stored \"{}\" in slot {}.\n", printable(token.currentDescription().value_or("")),
             result.slot);
  if (result.response) {
    fmt::print(
        "Response code: {}\n"
        "Give this code to your administrator, or enter it where you got the seed: the server "
        "needs\n"
        "it to complete the seed as this computer has, and accepts passcodes only after that.\n",
        *result.response);
  }
}

}  // namespace talvane
