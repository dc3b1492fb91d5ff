#include <fmt/core.h>

#include "cli/command.h"
#include "cli/failure.h"
#include "cli/terminal.h"
#include "platform/new_token.h"

namespace talvane {
namespace {

class RenameCommand final : public Command {
 public:
  CLI::App* addTo(CLI::App& line) override {
    CLI::App* parser = line.add_subcommand("rename", "Give a token another name");
    parser->add_option("token", token_, "Name, slot number, or unique beginning of a name")
        ->required()
        ->type_name("NAME|SLOT");
    parser->add_option("name", name_, "The new name; each + becomes a blank, each | is dropped")
        ->required();
    return parser;
  }

  void run(Session& session) override {
    SessionChange change(session);
    const Session::Tokens tokens = session.readTokens();
    const std::size_t position = Session::find(tokens, token_);
    SoftTokenInfo& token = *tokens.list[position];
    const std::string before = token.currentDescription().value_or("");
    if (before == name_) {
      fmt::print("\"{}\" has that name already.\n", printable(before));
      return;
    }
    const auto description = token.description;
    token.updateDescription(name_);
    if (token.description == description) {
      throw Failure(exit_usage, "The new name is empty; give at least one other character than |");
    }
    if (const auto problem = problemWithNames(token)) throw Failure(exit_usage, *problem);
    auto slot = static_cast<std::int32_t>(position);
    const bool written = vane::WriteToken(&slot, token);
    const auto& save = session.gateway().lastSave();
    if (save.status != KeychainStatus::ok) throw Failure(exit_keychain, save.words());
    if (!written) throw Failure(exit_failed, "The token cannot be sealed on this computer");
    change.finish();
    fmt::print("\"{}\" is now \"{}\".\n", printable(before),
               printable(token.currentDescription().value_or("")));
  }

 private:
  std::string token_;
  std::string name_;
};

}  // namespace

std::unique_ptr<Command> makeRenameCommand() {
  return std::make_unique<RenameCommand>();
}

}  // namespace talvane
