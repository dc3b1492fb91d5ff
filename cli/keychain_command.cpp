#include <fmt/core.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "cli/command.h"
#include "cli/exit_codes.h"
#include "cli/failure.h"
#include "cli/json.h"
#include "cli/session.h"
#include "engine/text.h"
#include "platform/device_identifiers.h"
#include "platform/keychain_service.h"
#include "platform/keychains.h"
#include "store/keychain_move.h"

namespace talvane {
namespace {

std::string tokens(std::size_t count) {
  return count == 1 ? "1 token" : fmt::format("{} tokens", count);
}

class KeychainCommand final : public Command {
 public:
  CLI::App* addTo(CLI::App& line) override {
    CLI::App* parser = line.add_subcommand(
        "keychain", "Show which keychain holds the tokens, or move them all to another one");
    auto* kind = parser
                     ->add_option("kind", kind_,
                                  "The keychain to move them to; without it, only show where they "
                                  "are")
                     ->check(CLI::IsMember(keychainKinds()))
                     ->type_name("KIND");
    parser->add_flag("--json", json_, "Print JSON")->excludes(kind);
    return parser;
  }

  void run(Session& session) override {
    UserKeychain& keychain = session.keychain();
    const Identity identity = session.identifiers().read();
    if (!identity.problem.empty()) throw Failure(exit_keychain, identity.problem);
    KeychainMove move(session.defaults(), identity.login_name);
    if (kind_.empty()) {
      show(keychain, identity.login_name, move);
    } else {
      moveTo(keychain.kind, move);
    }
  }

 private:
  void show(UserKeychain& keychain, const std::string& account, KeychainMove& move) const {
    const KeychainDescription description = keychain.service->describe();
    const bool good = description.status == KeychainStatus::ok;
    const auto count = good ? countRecords(*keychain.service, account) : std::nullopt;
    const auto unfinished = move.unfinished();
    if (json_) {
      print({{"keychain", keychain.kind},
             {"chosen", keychain.remembered},
             {"location", description.location},
             {"tokens", count ? Json(*count) : Json(nullptr)},
             {"leftovers", unfinished ? Json(unfinished->kind) : Json(nullptr)}});
    } else {
      fmt::print("{}: {}{}{}{}\n", keychain.kind, description.name,
                 description.location.empty() ? "" : " at ", printable(description.location),
                 count ? ", " + tokens(*count) : "");
      if (!keychain.remembered) fmt::print("Not chosen for good: the first token does that.\n");
      if (unfinished) {
        const bool copying = unfinished->step == KeychainMove::Unfinished::Step::copying;
        fmt::print(
            "A move was cut short, and copies are in {0} too; run `softtoken-cli keychain "
            "{1}` to {2}.\n",
            unfinished->kind, copying ? unfinished->kind : keychain.kind,
            copying ? "finish it" : "delete them");
      }
    }
    if (!good) throw Failure(exit_keychain, keychain.service->message(description.status));
  }

  void moveTo(const std::string& from, KeychainMove& move) const {
    const bool was_there = from == kind_;
    const auto done = move.move(from, kind_);
    if (!done) throw failureOf(done.error());
    if (done->moved > 0) {
      fmt::print("Moved {} from {} to {}.\n", tokens(done->moved), from, kind_);
    } else {
      fmt::print("{} {}.\n", was_there ? "The tokens are in" : "The keychain is now", kind_);
    }
    if (!done->leftovers.empty()) {
      throw Failure(exit_keychain,
                    fmt::format("The tokens are in {0}, but copies are left behind: {1}. Run "
                                "`softtoken-cli keychain {0}` again to delete them",
                                kind_, done->leftovers));
    }
  }

  std::string kind_;
  bool json_ = false;
};

}  // namespace

std::unique_ptr<Command> makeKeychainCommand() {
  return std::make_unique<KeychainCommand>();
}

}  // namespace talvane
