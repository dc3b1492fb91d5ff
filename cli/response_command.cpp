#include <cstddef>
#include <iostream>
#include <memory>
#include <string>

#include "cli/command.h"
#include "cli/failure.h"
#include "cli/json.h"
#include "cli/session.h"
#include "engine/soft_token_info.h"
#include "store/stored_tokens.h"
#include "store/token_store.h"

namespace talvane {
namespace {

class ResponseCommand final : public Command {
 public:
  CLI::App* addTo(CLI::App& line) override {
    CLI::App* parser = line.add_subcommand(
        "response", "Print the response code of a token that was added with a 13-character seed");
    parser->add_option("token", token_, "Name, slot number, or unique beginning of a name")
        ->required()
        ->type_name("NAME|SLOT");
    parser->add_flag("--json", json_, "Print JSON");
    return parser;
  }

  void run(Session& session) override {
    const StoredTokens tokens = session.readTokens();
    const std::size_t slot = Session::find(tokens, token_);
    const SoftTokenInfo& token = *tokens.list[slot];
    const auto response = session.store().response(token);
    if (!response) throw failureOf(response.error());
    if (json_) {
      print({{"slot", slot},
             {"name", token.currentDescription().value_or("")},
             {"response", *response}});
    } else {
      std::cout << *response << '\n';
    }
  }

 private:
  std::string token_;
  bool json_ = false;
};

}  // namespace

std::unique_ptr<Command> makeResponseCommand() {
  return std::make_unique<ResponseCommand>();
}

}  // namespace talvane
