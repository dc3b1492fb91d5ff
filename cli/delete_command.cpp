#include <fmt/format.h>
#include <unistd.h>

#include <array>

#include "cli/command.h"
#include "cli/failure.h"
#include "cli/terminal.h"
#include "platform/token_deletion.h"

namespace talvane {
namespace {

class DeleteCommand final : public Command {
 public:
  CLI::App* addTo(CLI::App& line) override {
    CLI::App* parser = line.add_subcommand("delete", "Delete tokens; asks first");
    parser->add_option("tokens", wanted_, "Names, slot numbers, or unique beginnings of names")
        ->required()
        ->type_name("NAME|SLOT");
    parser->add_flag("--yes", yes_, "Do not ask");
    return parser;
  }

  void run(Session& session) override {
    if (!yes_ && isatty(STDIN_FILENO) == 0) {
      throw Failure(exit_usage, "Nobody can be asked here; give --yes to delete without asking");
    }
    if (!yes_ && !confirmed(session)) {
      fmt::print("Nothing was deleted.\n");
      return;
    }
    // Looked up again under the lock: the slots may have moved while the question stood.
    SessionChange change(session);
    const Selection selection = select(session);
    if (!yes_ && selection.names != asked_) {
      throw Failure(exit_failed, "The tokens have changed meanwhile; nothing was deleted");
    }
    if (const auto problem = deleteStoredTokens(session.gateway(), selection.flags)) {
      throw Failure(exit_keychain, *problem);
    }
    change.finish();
    for (const std::string& name : selection.names) fmt::print("Deleted {}.\n", name);
  }

 private:
  struct Selection {
    std::array<std::uint8_t, vane::max_tokens> flags{};
    std::vector<std::string> names;
  };

  Selection select(Session& session) const {
    const Session::Tokens tokens = session.readTokensAndGaps();
    Selection selection;
    for (const std::string& wanted : wanted_) {
      // The record that hides all others has no name: it is deleted by its slot.
      const bool unreadable =
          !tokens.problem.empty() && wanted == std::to_string(tokens.problem_slot);
      const std::size_t slot = unreadable ? tokens.problem_slot : Session::find(tokens, wanted);
      if (selection.flags[slot] != 0) continue;
      selection.flags[slot] = 1;
      selection.names.push_back(
          unreadable ? fmt::format("what is in the way in slot {}", slot)
                     : '"' + printable(tokens.list[slot]->currentDescription().value_or("")) + '"');
    }
    return selection;
  }

  bool confirmed(Session& session) {
    asked_ = select(session).names;
    return confirm(fmt::format("Delete {}? It cannot be undone.", fmt::join(asked_, ", ")));
  }

  std::vector<std::string> wanted_;
  std::vector<std::string> asked_;
  bool yes_ = false;
};

}  // namespace

std::unique_ptr<Command> makeDeleteCommand() {
  return std::make_unique<DeleteCommand>();
}

}  // namespace talvane
