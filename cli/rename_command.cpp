#include <fmt/core.h>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "cli/command.h"
#include "cli/failure.h"
#include "cli/session.h"
#include "engine/log.h"
#include "engine/soft_token_info.h"
#include "engine/text.h"
#include "platform/translation.h"
#include "store/problem.h"
#include "store/stored_tokens.h"
#include "store/token_store.h"

namespace talvane {
namespace {

class RenameCommand final : public Command {
 public:
  CLI::App* addTo(CLI::App& line) override {
    CLI::App* parser = line.add_subcommand("rename", "Give a token another name");
    parser->add_option("token", token_, "Name, slot number, or unique beginning of a name")
        ->required()
        ->type_name("NAME|SLOT");
    parser->add_option("name", name_, "The new name; each + becomes a space, each | is dropped")
        ->required();
    return parser;
  }

  void run(Session& session) override {
    session.changeTokens(
        [this, &session](const StoredTokens& tokens) { return rename(session, tokens); },
        InputFrom::command_line);
  }

 private:
  [[nodiscard]] Result<void> rename(Session& session, const StoredTokens& tokens) const {
    const std::size_t position = Session::find(tokens, token_);
    const SoftTokenInfo& token = *tokens.list[position];
    const std::string before = token.currentDescription().value_or("");
    const TokenStore::Rename wanted{static_cast<std::int32_t>(position), &token, name_};
    return session.store().rename({&wanted, 1}).map([&] {
      if (before == name_) {
        fmt::print("{}", translatedWith("\"{}\" already has that name.\n", printable(before)));
        return;
      }
      const EngineLog::Pause quiet;
      SoftTokenInfo renamed = token;
      renamed.updateDescription(name_);
      fmt::print("{}", translatedWith("\"{}\" is now \"{}\".\n", printable(before),
                                      printable(renamed.currentDescription().value_or(""))));
    });
  }

  std::string token_;
  std::string name_;
};

}  // namespace

std::unique_ptr<Command> makeRenameCommand() {
  return std::make_unique<RenameCommand>();
}

}  // namespace talvane
