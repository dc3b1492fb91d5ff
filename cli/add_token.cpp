#include "cli/add_token.h"

#include <fmt/core.h>

#include <string>

#include "cli/failure.h"
#include "cli/session.h"
#include "engine/soft_token_info.h"
#include "engine/text.h"
#include "platform/translation.h"
#include "store/problem.h"

namespace talvane {
namespace {

Words advice(const std::string& error) {
  if (error == "Invalid seed length") return translated("; enter all 13 or 16 characters");
  if (error == "Invalid character in seed") {
    return translated("; use only the letters A to Z and the digits 2 to 7");
  }
  return {};
}

}  // namespace

void addToken(Session& session, const SoftTokenInfo& token, bool replace) {
  const auto added = session.store().add(
      token, replace ? TokenStore::SameName::replace : TokenStore::SameName::refuse);
  if (!added) {
    Problem problem = added.error();
    problem.words += advice(problem.words.english());
    throw failureOf(problem);
  }
  fmt::print("{}", translatedWith("Stored \"{}\" in slot {}.\n",
                                  printable(token.currentDescription().value_or("")), added->slot));
  if (added->response) {
    fmt::print(
        "{}",
        translatedWith(
            "Response code: {}\n"
            "Give this code to your administrator, or enter it where you got the seed. The server "
            "needs\n"
            "it to complete the seed, and accepts passcodes only after that.\n",
            *added->response));
  }
}

}  // namespace talvane
