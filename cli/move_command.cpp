#include <fmt/core.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "cli/command.h"
#include "cli/exit_codes.h"
#include "cli/failure.h"
#include "cli/session.h"
#include "engine/text.h"
#include "engine/vane.h"
#include "platform/translation.h"
#include "store/problem.h"
#include "store/stored_tokens.h"
#include "store/token_store.h"

namespace talvane {
namespace {

class MoveCommand final : public Command {
 public:
  CLI::App* addTo(CLI::App& line) override {
    CLI::App* parser = line.add_subcommand("move", "Move a token to another slot");
    parser->add_option("token", token_, "Name, slot number, or unique beginning of a name")
        ->required()
        ->type_name("NAME|SLOT");
    parser->add_option("slot", slot_, "Its new slot; the tokens in between move by one slot")
        ->required()
        ->check(CLI::Range(0, vane::max_tokens - 1))
        ->type_name("SLOT");
    return parser;
  }

  void run(Session& session) override {
    session.changeTokens(
        [this, &session](const StoredTokens& tokens) { return move(session, tokens); });
  }

 private:
  [[nodiscard]] Result<void> move(Session& session, const StoredTokens& tokens) const {
    const std::size_t from = Session::find(tokens, token_);
    const std::size_t last = tokens.list.size() - 1;
    if (static_cast<std::size_t>(slot_) > last) {
      throw Failure(exit_usage,
                    translatedWith("Slot {} is behind the last token; give a slot from 0 to {}",
                                   slot_, last));
    }
    const std::string name = tokens.list[from]->currentDescription().value_or("");
    return session.store().move(static_cast<std::int32_t>(from), slot_, tokens).map([&] {
      fmt::print("{}",
                 from == static_cast<std::size_t>(slot_)
                     ? translatedWith("\"{}\" already is in slot {}.\n", printable(name), slot_)
                     : translatedWith("\"{}\" is now in slot {}.\n", printable(name), slot_));
    });
  }

  std::string token_;
  std::int32_t slot_ = 0;
};

}  // namespace

std::unique_ptr<Command> makeMoveCommand() {
  return std::make_unique<MoveCommand>();
}

}  // namespace talvane
