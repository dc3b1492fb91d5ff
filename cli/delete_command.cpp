#include <fmt/format.h>
#include <fmt/ranges.h>  // IWYU pragma: keep (the place of join() since version 11)
#include <unistd.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "cli/command.h"
#include "cli/exit_codes.h"
#include "cli/failure.h"
#include "cli/session.h"
#include "cli/terminal.h"
#include "engine/text.h"
#include "platform/translation.h"
#include "store/problem.h"
#include "store/stored_tokens.h"
#include "store/token_store.h"

namespace talvane {
namespace {

class DeleteCommand final : public Command {
 public:
  CLI::App* addTo(CLI::App& line) override {
    CLI::App* parser = line.add_subcommand("delete", "Delete tokens, after asking");
    parser->add_option("tokens", wanted_, "Names, slot numbers, or unique beginnings of names")
        ->required()
        ->type_name("NAME|SLOT");
    parser->add_flag("--yes", yes_, "Do not ask for confirmation");
    return parser;
  }

  void run(Session& session) override {
    if (!yes_ && isatty(STDIN_FILENO) == 0) {
      throw Failure(
          exit_usage,
          "Cannot ask for confirmation without a terminal; add --yes to delete without asking");
    }
    if (yes_) {
      session.changeTokens([this, &session](const StoredTokens& tokens) {
        return remove(session, tokens, select(tokens));
      });
      return;
    }
    const StoredTokens tokens = session.readTokens();
    const Selection selection = select(tokens);
    if (!confirm(translatedWith("Delete {}? This cannot be undone.",
                                fmt::join(selection.names, ", ")))) {
      fmt::print("{}", translated("Nothing was deleted.\n"));
      return;
    }
    const auto removed = remove(session, tokens, selection);
    if (!removed) throw failureOf(removed.error());
  }

 private:
  struct Selection {
    TokenStore::Selection flags{};
    std::vector<std::string> names;
  };

  [[nodiscard]] Selection select(const StoredTokens& tokens) const {
    Selection selection;
    for (const std::string& wanted : wanted_) {
      // A damaged record or an empty slot has no name, so its slot number stands for it.
      const bool in_the_way = tokens.obstacle && wanted == std::to_string(tokens.obstacle->slot);
      const std::size_t slot = in_the_way ? static_cast<std::size_t>(tokens.obstacle->slot)
                                          : Session::find(tokens, wanted);
      if (selection.flags[slot] != 0) continue;
      selection.flags[slot] = 1;
      selection.names.push_back(
          in_the_way ? (tokens.obstacle->kind == Obstacle::Kind::gap
                            ? translatedWith("the empty slot {}", slot)
                            : translatedWith("the unreadable record in slot {}", slot))
                     : '"' + printable(tokens.list[slot]->currentDescription().value_or("")) + '"');
    }
    return selection;
  }

  static Result<void> remove(Session& session, const StoredTokens& seen,
                             const Selection& selection) {
    return session.store().remove(selection.flags, seen).map([&selection] {
      for (const std::string& name : selection.names) {
        fmt::print("{}", translatedWith("Deleted {}.\n", name));
      }
    });
  }

  std::vector<std::string> wanted_;
  bool yes_ = false;
};

}  // namespace

std::unique_ptr<Command> makeDeleteCommand() {
  return std::make_unique<DeleteCommand>();
}

}  // namespace talvane
