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
#include "platform/keychain_words.h"
#include "platform/keychains.h"
#include "platform/translation.h"
#include "store/keychain_move.h"

namespace talvane {
namespace {

std::string tokens(std::size_t count) {
  return translatedCount("{} token", "{} tokens", count);
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
    std::optional<std::size_t> count;
    if (good) count = countRecords(*keychain.service, account);
    const auto unfinished = move.unfinished();
    if (json_) {
      print({{"keychain", keychain.kind},
             {"chosen", keychain.remembered},
             {"location", description.location},
             {"tokens", count ? Json(*count) : Json(nullptr)},
             {"leftovers", unfinished ? Json(unfinished->kind) : Json(nullptr)}});
    } else {
      fmt::print("{}: {}{}\n", keychain.kind, printable(nameAndPlace(description)),
                 count ? ", " + tokens(*count) : "");
      if (!keychain.remembered) {
        fmt::print("{}", translated("Not decided yet; adding the first token decides it.\n"));
      }
      if (unfinished) {
        const bool copying = unfinished->step == KeychainMove::Unfinished::Step::copying;
        fmt::print("{}", copying
                             ? translatedWith("A move was cut short, and copies are in {} too; run "
                                              "`softtoken-cli keychain {}` to finish it.\n",
                                              unfinished->kind, unfinished->kind)
                             : translatedWith("A move was cut short, and copies are in {} too; run "
                                              "`softtoken-cli keychain {}` to delete them.\n",
                                              unfinished->kind, keychain.kind));
      }
    }
    if (!good) throw Failure(exit_keychain, messageFor(*keychain.service, description.status));
  }

  void moveTo(const std::string& from, KeychainMove& move) const {
    const bool was_there = from == kind_;
    const auto done = move.move(from, kind_);
    if (!done) throw failureOf(done.error());
    if (done->moved > 0) {
      fmt::print("{}",
                 translatedWith("Moved {} from {} to {}.\n", tokens(done->moved), from, kind_));
    } else {
      fmt::print("{}", was_there ? translatedWith("The tokens are in {}.\n", kind_)
                                 : translatedWith("The keychain is now {}.\n", kind_));
    }
    if (!done->leftovers.empty()) {
      throw Failure(exit_keychain,
                    translatedWith("The tokens are in {}, but copies are left behind: {}. Run "
                                   "`softtoken-cli keychain {}` again to delete them",
                                   kind_, done->leftovers, kind_));
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
