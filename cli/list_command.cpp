#include <fmt/core.h>

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <memory>
#include <string>

#include "cli/command.h"
#include "cli/exit_codes.h"
#include "cli/failure.h"
#include "cli/first_token.h"
#include "cli/json.h"
#include "cli/session.h"
#include "cli/terminal.h"
#include "engine/soft_token_info.h"
#include "engine/text.h"
#include "platform/translation.h"
#include "store/stored_tokens.h"

namespace talvane {
namespace {

// The columns of the two names; the second ends the line.
struct NameColumns {
  std::size_t name = 32;
  std::size_t created_as = std::string::npos;
};

// `others`: the columns of the rest. `title`: that of the second name.
NameColumns nameColumns(std::size_t others, std::size_t title) {
  const auto columns = outputColumns();
  if (!columns) return {};
  const std::size_t room = std::max<std::size_t>(*columns, others + 8) - others;
  const std::size_t name =
      std::min(NameColumns().name, std::max(room / 2, room > title ? room - title : 0));
  return {name, room - name};
}

class ListCommand final : public Command {
 public:
  CLI::App* addTo(CLI::App& line) override {
    CLI::App* parser = line.add_subcommand("list", "List the tokens, without passcodes");
    CLI::Option* json = parser->add_flag("--json", json_, "Print JSON");
    parser
        ->add_flag(
            "--names", names_,
            "Print only the names, one per line, without those that could control a terminal")
        ->excludes(json);
    return parser;
  }

  void run(Session& session) override {
    const StoredTokens tokens = session.readTokens();
    if (json_) {
      printJson(tokens);
    } else if (names_) {
      printNames(tokens);
    } else {
      printTable(tokens, session);
    }
    if (tokens.obstacle) throw Failure(exit_keychain, wordsFor(*tokens.obstacle));
  }

 private:
  static void printTable(const StoredTokens& tokens, Session& session) {
    if (tokens.list.empty()) {
      if (!tokens.obstacle) std::cerr << firstTokenHelp(session.settings());
      return;
    }
    const std::string slot = translated("SLOT");
    const std::string period = translated("PERIOD");
    const std::string created_as = translated("CREATED AS");
    const std::size_t slot_columns = std::max<std::size_t>(4, columnsOf(slot));
    const std::size_t period_columns = std::max<std::size_t>(6, columnsOf(period));
    const NameColumns widths =
        nameColumns(slot_columns + period_columns + 6, columnsOf(created_as));
    fmt::print("{}  {}  {}  {}\n", inColumns(slot, slot_columns),
               inColumns(translated("NAME"), widths.name), inColumns(period, period_columns),
               cutTo(created_as, widths.created_as));
    for (std::size_t i = 0; i < tokens.list.size(); ++i) {
      const SoftTokenInfo& token = *tokens.list[i];
      fmt::print("{:{}}  {}  {:{}} s  {}\n", i, slot_columns,
                 inColumns(printable(token.currentDescription().value_or("")), widths.name),
                 token.period, period_columns - 2,
                 cutTo(printable(token.originalDescription().value_or("")), widths.created_as));
    }
  }

  static void printJson(const StoredTokens& tokens) {
    Json list = Json::array();
    for (std::size_t i = 0; i < tokens.list.size(); ++i) {
      const SoftTokenInfo& token = *tokens.list[i];
      list.push_back({{"slot", i},
                      {"name", token.currentDescription().value_or("")},
                      {"created_as", token.originalDescription().value_or("")},
                      {"period", token.period}});
    }
    print(list);
  }

  static void printNames(const StoredTokens& tokens) {
    for (const auto& token : tokens.list) {
      const std::string name = token->currentDescription().value_or("");
      if (!name.empty() && printable(name) == name) fmt::print("{}\n", name);
    }
  }

  bool json_ = false;
  bool names_ = false;
};

}  // namespace

std::unique_ptr<Command> makeListCommand() {
  return std::make_unique<ListCommand>();
}

}  // namespace talvane
