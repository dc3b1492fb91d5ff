#include <memory>

#include "cli/add_token.h"
#include "cli/command.h"
#include "cli/failure.h"
#include "cli/first_token.h"
#include "cli/session.h"
#include "cli/terminal.h"
#include "engine/soft_token_info.h"
#include "platform/translation.h"
#include "store/new_token.h"

namespace talvane {
namespace {

class AddCommand final : public Command {
 public:
  CLI::App* addTo(CLI::App& line) override {
    CLI::App* parser = line.add_subcommand(
        "add", "Add a token; asks for its seed, or reads it from standard input");
    parser->add_option("description", description_, "Name of the token")->required();
    parser->add_option("--period", period_, "How long a passcode lasts, in seconds: 30 or 60")
        ->check(CLI::IsMember({30, 60}))
        ->default_str("30");
    parser->add_flag("--replace", replace_,
                     "Replace the token that was created under the same name");
    return parser;
  }

  void run(Session& session) override {
    requireManual(session.settings());
    session.gateway();
    SoftTokenInfo token;
    token.updateDescription(description_);
    if (const auto problem = problemWithNames(token)) {
      throw failureOf(*problem, InputFrom::command_line);
    }
    token.period = period_;
    token.seed32 = readLine(marked("Seed (13 or 16 characters, not shown): "), true);
    addToken(session, token, replace_);
  }

 private:
  std::string description_;
  int period_ = 30;
  bool replace_ = false;
};

}  // namespace

std::unique_ptr<Command> makeAddCommand() {
  return std::make_unique<AddCommand>();
}

}  // namespace talvane
