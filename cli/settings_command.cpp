#include <fmt/core.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "cli/command.h"
#include "cli/examination.h"
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

const char* sourceOf(const Ini::Entry& entry, const Ini& settings) {
  if (!entry.from_file) return "default";
  return entry.file == settings.policyFile() ? "policy" : "file";
}

// Whether both paths are of one file.
bool areSame(const std::string& one, const std::string& other) {
  struct stat first {};
  struct stat second {};
  return stat(one.c_str(), &first) == 0 && stat(other.c_str(), &second) == 0 &&
         first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

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
      check(session);
      return;
    }
    const Ini& settings = session.settings();
    for (const std::string& path : settings.unreadableFiles()) {
      fmt::print(stderr, "softtoken-cli: {}\n", printable(unreadableFile(path)));
    }
    if (!settings.policyProblem().empty()) {
      fmt::print(stderr, "softtoken-cli: {}\n", printable(settings.policyProblem()));
    }
    const auto entries = settings.entries();
    if (json_) {
      Json list = Json::array();
      for (const Ini::Entry& entry : entries) {
        list.push_back({{"key", entry.key},
                        {"value", entry.value},
                        {"file", entry.from_file ? Json(entry.file) : Json(nullptr)}});
      }
      Json all = {{"file", settings.file().empty() ? Json(nullptr) : Json(settings.file())}};
      if (!settings.policyFile().empty()) all["policy"] = settings.policyFile();
      all["settings"] = std::move(list);
      print(all);
      return;
    }
    fmt::print("Settings file: {}\n",
               settings.file().empty() ? "none" : printable(settings.file()));
    if (!settings.policyFile().empty())
      fmt::print("Policy: {}\n", printable(settings.policyFile()));
    fmt::print("\n");
    fmt::print("{}  {}  VALUE\n", inColumns("KEY", 22), inColumns("FROM", 7));
    for (const Ini::Entry& entry : entries) {
      fmt::print("{}  {}  {}\n", inColumns(entry.key, 22), inColumns(sourceOf(entry, settings), 7),
                 printable(entry.value));
    }
  }

 private:
  void check(Session& session) const {
    std::string text;
    if (const int error = readRegularFile(checked_, &text); error != 0) {
      throw Failure(exit_failed, fmt::format("Cannot read {}: {}", checked_, std::strerror(error)));
    }
    const auto findings = checkSettings(text);
    for (const SettingsFinding& finding : findings) {
      fmt::print("{}:{}: {}\n", printable(checked_), finding.line, printable(finding.text));
    }
    std::size_t count = findings.size();
    if (const std::string words = changeableByOthers(checked_); !words.empty()) {
      fmt::print("{}\n", printable(words));
      ++count;
    }
    if (count > 0) {
      throw Failure(exit_failed,
                    count == 1 ? "Found 1 problem; fix the line above"
                               : fmt::format("Found {} problems; fix the lines above", count));
    }
    fmt::print("No problems found.\n");
    // Only of a file that is in use: another is for another computer, or for later.
    const Ini& settings = session.settings();
    if (!areSame(checked_, settings.file()) && !areSame(checked_, settings.policyFile())) return;
    for (const std::string& words : olderSettings(settings)) {
      fmt::print("{}\n", printable(words));
    }
  }

  bool json_ = false;
  std::string checked_;
};

}  // namespace

std::unique_ptr<Command> makeSettingsCommand() {
  return std::make_unique<SettingsCommand>();
}

}  // namespace talvane
