#include <fmt/chrono.h>
#include <fmt/format.h>
#include <sys/timex.h>
#include <sys/utsname.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "cli/command.h"
#include "cli/examination.h"
#include "cli/exit_codes.h"
#include "cli/failure.h"
#include "cli/session.h"
#include "cli/terminal.h"
#include "config/ini.h"
#include "engine/soft_token_info.h"
#include "engine/text.h"
#include "engine/vane.h"
#include "platform/regular_file.h"
#include "platform/replace_file.h"
#include "platform/running_program.h"
#include "platform/translation.h"
#include "store/stored_tokens.h"

namespace talvane {
namespace {

constexpr const char* head =
    "Talvane Soft Token: report for the help desk\n"
    "It holds no seeds, no passcodes, no PINs and no names of tokens.\n";

constexpr std::size_t typed_part = 12;

// The value of a line NAME=VALUE of os-release(5).
std::string systemName() {
  std::string text;
  for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
    if (readRegularFile(path, &text) == 0) break;
  }
  constexpr std::string_view name = "PRETTY_NAME=";
  for (std::string_view line : split(text, '\n')) {
    if (!line.starts_with(name)) continue;
    line.remove_prefix(name.size());
    if (line.size() > 1 && line.front() == '"') line = line.substr(1, line.size() - 2);
    return std::string(line);
  }
  return "unknown";
}

std::string kernelName() {
  utsname system{};
  if (uname(&system) != 0) return "unknown";
  return fmt::format("{} {} {}", system.sysname, system.release, system.machine);
}

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr || *value == '\0' ? "not set" : value;
}

std::string timeZone() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  std::array<char, 64> text{};
  std::strftime(text.data(), text.size(), "%Z (UTC%z)", &local);
  return text.data();
}

std::string synchronisation() {
  timex state{};
  switch (ntp_adjtime(&state)) {
    case -1:
      return "unknown";
    case TIME_ERROR:
      return "no";
    default:
      return "yes";
  }
}

// An address may hold a user's name and password.
void removeUsers(std::string& text) {
  for (auto at = text.find("//"); at != std::string::npos; at = text.find("//", at + 2)) {
    const std::size_t begin = at + 2;
    const std::size_t end = std::min(text.find_first_of("/?# \n", begin), text.size());
    const std::size_t sign = std::string_view(text).substr(0, end).rfind('@');
    if (sign != std::string_view::npos && sign >= begin) text.erase(begin, sign + 1 - begin);
  }
}

// Takes out the user's seeds and what they make, wherever they were typed by mistake.
std::string withoutSecrets(std::string text, const StoredTokens& tokens, std::int64_t now) {
  const auto remove = [&text](std::string_view secret) {
    if (secret.empty()) return;
    for (auto at = text.find(secret); at != std::string::npos; at = text.find(secret)) {
      text.replace(at, secret.size(), "(removed)");
    }
  };
  for (const auto& token : tokens.list) {
    if (!token->seed32) continue;
    const std::string& seed = token->seed32->get();
    remove(seed);
    remove(lowerCase(seed));
    // The part that a user has typed, if this computer has completed it.
    remove(std::string_view(seed).substr(0, typed_part));
    for (std::int64_t step = -2; step <= 2; ++step) {
      const auto passcode = vane::GeneratePasscode(seed, token->counterAt(now) + step);
      if (passcode) remove(*passcode);
    }
  }
  removeUsers(text);
  return text;
}

class ReportCommand final : public Command {
 public:
  CLI::App* addTo(CLI::App& line) override {
    CLI::App* parser = line.add_subcommand(
        "report", "Write a text for the help desk, without seeds, passcodes, PINs and names");
    parser->add_option("--output", output_, "Write it to this file")->type_name("FILE");
    return parser;
  }

  void run(Session& session) override {
    write(session);
    if (output_.empty()) {
      fmt::print("{}", text_);
    } else if (const int error = replaceFile(output_, text_, 0600); error != 0) {
      throw Failure(exit_failed,
                    translatedWith("Cannot write {}: {}", output_, std::strerror(error)));
    }
  }

 private:
  void write(Session& session) {
    const translation::English english;  // the help desk reads it
    text_ = head;
    const Examination found = examine(session, Reader::help_desk);
    addVersions();
    addFindings(found);
    addSettings(session.settings());
    addDesktop();
    addClock();
    StoredTokens tokens;
    if (found.keychain_good) tokens = session.readTokens();
    text_ = withoutSecrets(std::move(text_), tokens, std::time(nullptr));
  }

  void section(std::string_view name) { text_ += fmt::format("\n{}\n", name); }
  void line(std::string_view name, std::string_view value) {
    text_ += fmt::format("  {}  {}\n", inColumns(name, 22), printable(value));
  }

  void addVersions() {
    section("Versions");
    line("softtoken-cli", SOFTTOKEN_VERSION);
    line("system", systemName());
    line("kernel", kernelName());
  }

  void addFindings(const Examination& found) {
    section("Findings (as `softtoken-cli doctor`)");
    for (const Finding& finding : found.findings) {
      text_ += fmt::format("  {} {}  {}\n", finding.good ? "ok" : "!!",
                           inColumns(finding.subject, 18), printable(finding.text));
    }
  }

  void addSettings(const Ini& settings) {
    section("Settings");
    line("file", settings.file().empty() ? "none" : settings.file());
    line("policy", settings.policyFile().empty() ? "none" : settings.policyFile());
    for (const Ini::Entry& entry : settings.entries()) {
      const char* from = entry.file.empty()                    ? "default"
                         : !entry.from_file                    ? "language"
                         : entry.file == settings.policyFile() ? "policy"
                                                               : "file";
      line(entry.key, fmt::format("{:7}  {}", from, entry.value));
    }
  }

  void addDesktop() {
    section("Desktop");
    for (const char* name : {"XDG_CURRENT_DESKTOP", "XDG_SESSION_TYPE", "DISPLAY",
                             "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "LANG", "LC_ALL"}) {
      line(name, variable(name));
    }
    const auto programs = runningPrograms();
    if (programs.empty()) line("desktop program", "not running");
    for (const ProgramFacts& facts : programs) {
      line("desktop program", "running");
      for (const auto& [name, value] : facts) {
        if (!name.starts_with(setting_fact)) line("  " + name, value);
      }
    }
  }

  void addClock() {
    section("Clock");
    const std::time_t now = std::time(nullptr);
    line("time", fmt::format("{:%Y-%m-%d %H:%M:%S} UTC", fmt::gmtime(now)));
    line("time zone", timeZone());
    line("set by the network", synchronisation());
  }

  std::string output_;
  std::string text_;
};

}  // namespace

std::unique_ptr<Command> makeReportCommand() {
  return std::make_unique<ReportCommand>();
}

}  // namespace talvane
