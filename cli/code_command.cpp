#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <memory>
#include <string>

#include "cli/clipboard.h"
#include "cli/command.h"
#include "cli/exit_codes.h"
#include "cli/failure.h"
#include "cli/json.h"
#include "cli/session.h"
#include "config/clipboard_time.h"
#include "config/ini.h"
#include "engine/soft_token_info.h"
#include "engine/vane.h"
#include "store/stored_tokens.h"

namespace talvane {
namespace {

class CodeCommand final : public Command {
 public:
  CLI::App* addTo(CLI::App& line) override {
    CLI::App* parser = line.add_subcommand("code", "Print a token's passcode");
    parser->add_option("token", token_, "Name, slot number, or unique beginning of a name")
        ->required()
        ->type_name("NAME|SLOT");
    parser->add_flag("--next", next_, "Print the next passcode instead of the current one");
    parser->add_flag("--copy", copy_, "Copy the passcode to the clipboard and print nothing");
    parser->add_flag("--json", json_,
                     "Print JSON, with the times between which the passcode is valid");
    return parser;
  }

  void run(Session& session) override {
    const StoredTokens tokens = session.readTokens();
    const std::size_t slot = Session::find(tokens, token_);
    const SoftTokenInfo& token = *tokens.list[slot];
    const std::int64_t now = session.now();
    const std::int64_t counter = token.counterAt(now) + (next_ ? 1 : 0);
    const auto passcode = vane::GeneratePasscode(token.seed32->get(), counter);
    if (!passcode)
      throw Failure(
          exit_failed,
          "Cannot make a passcode from this token's seed; delete the token and add it again");
    if (copy_) {
      copyToClipboard(*passcode,
                      std::chrono::seconds(secondsInClipboard(session.settings().ClipboardSeconds,
                                                              (counter + 1) * token.period - now)));
    }
    if (json_) {
      print({{"slot", slot},
             {"name", token.currentDescription().value_or("")},
             {"passcode", *passcode},
             {"period", token.period},
             {"valid_from", counter * token.period},
             {"valid_until", (counter + 1) * token.period}});
    } else if (!copy_) {
      std::cout << *passcode << '\n';
    }
  }

 private:
  std::string token_;
  bool next_ = false;
  bool copy_ = false;
  bool json_ = false;
};

}  // namespace

std::unique_ptr<Command> makeCodeCommand() {
  return std::make_unique<CodeCommand>();
}

}  // namespace talvane
