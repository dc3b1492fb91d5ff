#include <fmt/core.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>

#include "cli/command.h"
#include "cli/examination.h"
#include "cli/exit_codes.h"
#include "cli/failure.h"
#include "cli/json.h"
#include "cli/session.h"
#include "cli/terminal.h"
#include "engine/text.h"
#include "platform/translation.h"

namespace talvane {
namespace {

class DoctorCommand final : public Command {
 public:
  CLI::App* addTo(CLI::App& line) override {
    CLI::App* parser = line.add_subcommand(
        "doctor", "Check the keychain, device identifiers, settings, clock, server and file modes");
    parser->add_flag("--json", json_, "Print JSON");
    return parser;
  }

  void run(Session& session) override {
    const Examination found = examination(session);
    json_ ? printJson(found) : printText(found);
    if (found.good()) return;
    throw Failure(found.keychain_good ? exit_failed : exit_keychain,
                  "Problems found; see the lines marked !!");
  }

 private:
  [[nodiscard]] Examination examination(Session& session) const {
    std::optional<translation::English> english;
    if (json_) english.emplace();
    return examine(session, Reader::user);
  }

  static void printText(const Examination& found) {
    std::size_t columns = 18;
    for (const Finding& finding : found.findings) {
      columns = std::max(columns, columnsOf(finding.subject));
    }
    for (const Finding& finding : found.findings) {
      fmt::print("{} {}  {}\n", finding.good ? "ok" : "!!", inColumns(finding.subject, columns),
                 printable(finding.text));
    }
  }

  static void printJson(const Examination& found) {
    Json list = Json::array();
    for (const Finding& finding : found.findings) {
      list.push_back(
          {{"subject", finding.subject}, {"good", finding.good}, {"text", finding.text}});
    }
    print(list);
  }

  bool json_ = false;
};

}  // namespace

std::unique_ptr<Command> makeDoctorCommand() {
  return std::make_unique<DoctorCommand>();
}

}  // namespace talvane
