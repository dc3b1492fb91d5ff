#include <fmt/core.h>

#include "cli/command.h"
#include "cli/json.h"
#include "cli/terminal.h"

namespace talvane {
namespace {

class SettingsCommand final : public Command {
 public:
  CLI::App* addTo(CLI::App& line) override {
    CLI::App* parser =
        line.add_subcommand("settings", "List every setting, its value, and where it comes from");
    parser->add_flag("--json", json_, "Print JSON");
    return parser;
  }

  void run(Session& session) override {
    const Ini& settings = session.settings();
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
    fmt::print("Settings file: {}\n\n", settings.file().empty() ? "none" : settings.file());
    fmt::print("{}  {}  VALUE\n", inColumns("KEY", 22), inColumns("FROM", 7));
    for (const Ini::Entry& entry : entries) {
      fmt::print("{}  {}  {}\n", inColumns(entry.key, 22),
                 inColumns(entry.from_file ? "file" : "default", 7), printable(entry.value));
    }
  }

 private:
  bool json_ = false;
};

}  // namespace

std::unique_ptr<Command> makeSettingsCommand() {
  return std::make_unique<SettingsCommand>();
}

}  // namespace talvane
