#include <fmt/chrono.h>
#include <fmt/core.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cli/command.h"
#include "cli/exit_codes.h"
#include "cli/failure.h"
#include "cli/json.h"
#include "cli/session.h"
#include "cli/terminal.h"
#include "config/ini.h"
#include "config/read_settings.h"
#include "config/settings_check.h"
#include "engine/text.h"
#include "enrol/clock_trouble.h"
#include "platform/device_identifiers.h"
#include "platform/folders.h"
#include "platform/keychain_service.h"
#include "platform/keychains.h"
#include "platform/url_loading.h"
#include "store/stored_tokens.h"

namespace talvane {
namespace {

struct Finding {
  std::string subject;
  bool good = true;
  std::string text;
};

// 2026-01-01: the program is younger than that, so an earlier clock is wrong.
constexpr std::int64_t earliest_time = 1767225600;

constexpr long http_ok = 200;

class DoctorCommand final : public Command {
 public:
  CLI::App* addTo(CLI::App& line) override {
    CLI::App* parser = line.add_subcommand(
        "doctor", "Check the keychain, device identifiers, settings, clock, server and file modes");
    parser->add_flag("--json", json_, "Print JSON");
    return parser;
  }

  void run(Session& session) override {
    findings_.clear();
    const ExitCode code = examine(session);
    json_ ? printJson() : printText();
    if (code != exit_ok) throw Failure(code, "Problems found; see the lines marked !!");
  }

 private:
  void add(std::string subject, bool good, std::string text) {
    findings_.push_back({std::move(subject), good, std::move(text)});
  }

  ExitCode examine(Session& session) {
    const bool keychain_good = examineKeychain(session);
    examineIdentifiers(session.identifiers());
    const Ini& settings = session.settings();
    examineSettings(settings);
    examineClock();
    examineServer(settings);
    for (const char* name : {"/vault", "/vault.key"}) {
      examineMode(dataFolder() + name);
    }
    examineMode(withTildeExpanded(trace_path));
    if (!keychain_good) return exit_keychain;
    for (const Finding& finding : findings_) {
      if (!finding.good) return exit_failed;
    }
    return exit_ok;
  }

  bool examineKeychain(Session& session) {
    try {
      UserKeychain& keychain = session.keychain();
      const KeychainDescription description = keychain.service->describe();
      const bool good = description.status == KeychainStatus::ok;
      add("keychain", good,
          fmt::format("{}{}{}{}", description.name, description.location.empty() ? "" : " at ",
                      description.location,
                      good ? ", unlocked" : ": " + keychain.service->message(description.status)));
      add("keychain choice", true,
          keychain.remembered ? "remembered" : "not made yet: the first token makes it");
      if (!good) return false;
      const StoredTokens tokens = session.readTokens();
      std::string text = fmt::format("{} readable", tokens.list.size());
      if (tokens.obstacle) text += ". " + wordsFor(*tokens.obstacle);
      add("tokens", !tokens.obstacle, text);
      return true;
    } catch (const Failure& failure) {
      add("keychain", false, failure.what());
      return false;
    }
  }

  void examineIdentifiers(DeviceIdentifiers& identifiers) {
    const auto found = [](const std::string& text) { return text.empty() ? "missing" : "found"; };
    const Identity identity = identifiers.read();
    if (!identity.problem.empty()) {
      add("device identifiers", false, identity.problem);
      return;
    }
    const bool any = !(identity.serial_number.empty() && identity.volume_uuid.empty());
    add("device identifiers", any,
        fmt::format("serial number {}, volume {}, user {}", found(identity.serial_number),
                    found(identity.volume_uuid), found(identity.user)));
  }

  void examineSettings(const Ini& settings) {
    for (const std::string& path : settings.unreadableFiles()) {
      add("settings file", false, unreadableFile(path));
    }
    add("settings file", true,
        settings.file().empty() ? "none; every setting has its default" : settings.file());
  }

  void examineClock() {
    const std::time_t now = std::time(nullptr);
    const std::string text = fmt::format("{:%Y-%m-%d %H:%M:%S} UTC", fmt::gmtime(now));
    const bool good = now >= earliest_time;
    add("clock", good,
        good ? text + "; passcodes depend on it, so compare it with a clock you trust"
             : text + " is in the past; set the clock, or every passcode will be wrong");
  }

  // Asks the server, if there is one, for its time. The request has no user name.
  void examineServer(const Ini& settings) {
    if (!settings.bAllowTaEnrol || settings.EnrolURL.empty()) return;
    const std::string url = settings.tidyEnrolURL();
    if (url.starts_with("http://") && !settings.bAllowHTTP) {
      add("enrolment server", false, url + " is not allowed; use https, or set AllowHTTP=true");
      return;
    }
    std::string error;
    UrlLoaderLimits limits;
    limits.connect = std::chrono::seconds(5);
    limits.silence = limits.connect;
    const auto loader = makeUrlLoader(&error, limits);
    const UrlResponse response = loader == nullptr ? UrlResponse() : loader->load({url, {}});
    const std::int64_t now = std::time(nullptr);
    if (response.error) error = response.error->description;
    if (!error.empty()) {
      add("enrolment server", false, url + " cannot be reached: " + error);
      return;
    }
    add("enrolment server", response.status == http_ok,
        fmt::format("{} answered with status {}", url, response.status));
    if (!response.date) return;
    const auto trouble = clockTrouble(*response.date - now);
    add("server's clock", !trouble, trouble ? *trouble : "agrees with this computer's");
  }

  void examineMode(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) return;
    if (S_ISLNK(status.st_mode) || status.st_uid != geteuid()) {
      add("file mode", false,
          fmt::format("{} {}, so it is not used; remove it", path,
                      S_ISLNK(status.st_mode) ? "is a link" : "belongs to another user"));
      return;
    }
    const auto mode = static_cast<unsigned>(status.st_mode & 07777U);
    const bool good = (mode & 077U) == 0;
    add("file mode", good,
        fmt::format("{} {:04o}{}", path, mode,
                    good ? "" : "; others can use it, so run `chmod 600 " + path + "`"));
  }

  void printText() const {
    for (const Finding& finding : findings_) {
      fmt::print("{} {}  {}\n", finding.good ? "ok" : "!!", inColumns(finding.subject, 18),
                 printable(finding.text));
    }
  }

  void printJson() const {
    Json list = Json::array();
    for (const Finding& finding : findings_) {
      list.push_back(
          {{"subject", finding.subject}, {"good", finding.good}, {"text", finding.text}});
    }
    print(list);
  }

  std::vector<Finding> findings_;
  bool json_ = false;
};

}  // namespace

std::unique_ptr<Command> makeDoctorCommand() {
  return std::make_unique<DoctorCommand>();
}

}  // namespace talvane
