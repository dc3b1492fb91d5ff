#include <fmt/core.h>

#include <cstring>
#include <memory>

#include "cli/command.h"
#include "cli/exit_codes.h"
#include "cli/failure.h"
#include "cli/json.h"
#include "cli/session.h"
#include "cli/terminal.h"
#include "config/ini.h"
#include "config/settings_check.h"
#include "engine/text.h"
#include "platform/regular_file.h"

namespace talvane {
namespace {

class SettingsCommand final : public Command {
 public:
  CLI::App* addTo(CLI::App& line) override {
    CLI::App* parser =
        line.add_subcommand("settings", "List every setting, its value, and where it comes from");
    auto* json = parser->add_flag("--json", json_, "Print JSON");
    parser
        ->add_option("--check", checked_,
                     "Check this settings file instead, and report what is wrong in it")
        ->type_name("FILE")
        ->excludes(json);
    return parser;
  }

  void run(Session& session) override {
    if (!checked_.empty()) {
      check();
      return;
    }
    const Ini& settings = session.settings();
    for (const std::string& path : settings.unreadableFiles()) {
      fmt::print(stderr, "softtoken-cli: {}\n", printable(unreadableFile(path)));
    }
    const auto entries = settings.entries();
    if (json_) {
      Json list = Json::array();
      for (const Ini::Entry& entry : entries) {
        list.push_back({{"key", entry.key},
                        {"value", entry.value},
                        {"file", entry.from_file ? Json(settings.file()) : Json(nullptr)}});
      }
      print({{"file", settings.file().empty() ? Json(nullptr) : Json(settings.file())},
             {"settings", list}});
      return;
    }
    fmt::print("Settings file: {}\n\n",
               settings.file().empty() ? "none" : printable(settings.file()));
    fmt::print("{}  {}  VALUE\n", inColumns("KEY", 22), inColumns("FROM", 7));
    for (const Ini::Entry& entry : entries) {
      fmt::print("{}  {}  {}\n", inColumns(entry.key, 22),
                 inColumns(entry.from_file ? "file" : "default", 7), printable(entry.value));
    }
  }

 private:
  void check() const {
    std::string text;
    if (const int error = readRegularFile(checked_, &text); error != 0) {
      throw Failure(exit_failed, fmt::format("Cannot read {}: {}", checked_, std::strerror(error)));
    }
    const auto findings = checkSettings(text);
    for (const SettingsFinding& finding : findings) {
      fmt::print("{}:{}: {}\n", printable(checked_), finding.line, printable(finding.text));
    }
    if (!findings.empty()) {
      throw Failure(exit_failed,
                    findings.size() == 1
                        ? "Found 1 problem; fix the line above"
                        : fmt::format("Found {} problems; fix the lines above", findings.size()));
    }
    fmt::print("No problems found.\n");
  }

  bool json_ = false;
  std::string checked_;
};

}  // namespace

std::unique_ptr<Command> makeSettingsCommand() {
  return std::make_unique<SettingsCommand>();
}

}  // namespace talvane
