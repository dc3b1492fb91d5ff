#include <fmt/core.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

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
#include "platform/translation.h"

namespace talvane {
namespace {

const char* sourceOf(const Ini::Entry& entry, const Ini& settings) {
  if (entry.file.empty()) return marked("default");
  if (!entry.from_file) return marked("language");
  return entry.file == settings.policyFile() ? marked("policy") : marked("file");
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
                        {"file", entry.file.empty() ? Json(nullptr) : Json(entry.file)}});
      }
      Json all = {{"file", settings.file().empty() ? Json(nullptr) : Json(settings.file())}};
      if (!settings.policyFile().empty()) all["policy"] = settings.policyFile();
      all["settings"] = std::move(list);
      print(all);
      return;
    }
    fmt::print("{}", translatedWith("Settings file: {}\n", settings.file().empty()
                                                               ? std::string(translated("none"))
                                                               : printable(settings.file())));
    if (!settings.policyFile().empty()) {
      fmt::print("{}", translatedWith("Policy: {}\n", printable(settings.policyFile())));
    }
    fmt::print("\n");
    printTable(entries, settings);
  }

 private:
  static void printTable(const std::vector<Ini::Entry>& entries, const Ini& settings) {
    const std::string key = translated("KEY");
    const std::string from = translated("FROM");
    const std::size_t key_columns = std::max<std::size_t>(22, columnsOf(key));
    std::size_t from_columns = std::max<std::size_t>(7, columnsOf(from));
    for (const Ini::Entry& entry : entries) {
      from_columns = std::max(from_columns, columnsOf(translated(sourceOf(entry, settings))));
    }
    fmt::print("{}  {}  {}\n", inColumns(key, key_columns), inColumns(from, from_columns),
               translated("VALUE"));
    for (const Ini::Entry& entry : entries) {
      fmt::print("{}  {}  {}\n", inColumns(entry.key, key_columns),
                 inColumns(translated(sourceOf(entry, settings)), from_columns),
                 printable(entry.value));
    }
  }

  void check(Session& session) const {
    std::string text;
    if (const int error = readRegularFile(checked_, &text); error != 0) {
      throw Failure(exit_failed,
                    translatedWith("Cannot read {}: {}", checked_, std::strerror(error)));
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
      throw Failure(exit_failed, translatedCount("Found {} problem; fix the line above",
                                                 "Found {} problems; fix the lines above", count));
    }
    fmt::print("{}", translated("No problems found.\n"));
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
