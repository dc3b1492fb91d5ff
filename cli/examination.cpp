#include "cli/examination.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <fmt/ranges.h>  // IWYU pragma: keep (the place of join() since version 11)
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/failure.h"
#include "cli/session.h"
#include "config/ini.h"
#include "config/read_settings.h"
#include "config/settings_check.h"
#include "engine/text.h"
#include "enrol/clock_trouble.h"
#include "platform/device_identifiers.h"
#include "platform/folders.h"
#include "platform/keychain_service.h"
#include "platform/keychain_words.h"
#include "platform/keychains.h"
#include "platform/regular_file.h"
#include "platform/running_program.h"
#include "platform/translation.h"
#include "platform/url_loading.h"
#include "store/keychain_move.h"
#include "store/stored_tokens.h"

namespace talvane {
namespace {

// 2026-01-01: the program is younger than that, so an earlier clock is wrong.
constexpr std::int64_t earliest_time = 1767225600;

constexpr long http_ok = 200;

constexpr unsigned rights_of_others = 077;

// A file or folder that only the user may use, as it was found.
struct OwnFile {
  std::string path;
  struct stat status {};
};

unsigned modeOf(const struct stat& status) {
  return static_cast<unsigned>(status.st_mode & 07777U);
}

std::vector<OwnFile> ownFiles() {
  const std::string data = dataFolder();
  std::vector<OwnFile> files;
  std::set<std::string> paths;
  for (const std::string& path :
       {data, data + "/vault", data + "/vault.key", data + "/store.lock", configFolder(),
        configFolder() + "/defaults.conf", runtimeFolder(), withTildeExpanded(trace_path)}) {
    OwnFile file{path, {}};
    if (paths.insert(path).second && lstat(path.c_str(), &file.status) == 0) {
      files.push_back(std::move(file));
    }
  }
  return files;
}

std::optional<std::string> valueOf(const std::map<std::string, std::string>& values,
                                   const std::string& key) {
  const auto found = values.find(key);
  return found == values.end() ? std::nullopt : std::optional(found->second);
}

class Examiner {
 public:
  Examiner(Session& session, Reader reader) : session_(session), reader_(reader) {}

  Examination examine() {
    // First: reading the vault closes it to others.
    const std::vector<OwnFile> files = ownFiles();
    found_.keychain_good = examineKeychain();
    examineMove();
    examineIdentifiers();
    const Ini& settings = session_.settings();
    examineSettings(settings);
    for (const std::string& words : olderSettings(settings))
      add(translated("running program"), false, words);
    examineClock();
    examineServer(settings);
    for (const OwnFile& file : files) examineMode(file);
    examineTrace(settings);
    return std::move(found_);
  }

 private:
  void add(std::string subject, bool good, std::string text) {
    found_.findings.push_back({std::move(subject), good, std::move(text)});
  }

  bool examineKeychain() {
    try {
      UserKeychain& keychain = session_.keychain();
      const KeychainDescription description = keychain.service->describe();
      const bool good = description.status == KeychainStatus::ok;
      add(translated("keychain"), good,
          good ? translatedWith("{}, unlocked", nameAndPlace(description))
               : fmt::format("{}: {}", nameAndPlace(description),
                             messageFor(*keychain.service, description.status)));
      add(translated("keychain choice"), true,
          keychain.remembered ? translated("remembered")
                              : translated("not made yet: the first token makes it"));
      if (!good) return false;
      const StoredTokens tokens = session_.readTokens();
      std::string text = translatedCount("{} readable", "{} readable", tokens.list.size());
      if (tokens.obstacle) text += ". " + wordsOf(*tokens.obstacle);
      add(translated("tokens"), !tokens.obstacle, text);
      return true;
    } catch (const Failure& failure) {
      add(translated("keychain"), false, translated(failure.what()));
      return false;
    }
  }

  [[nodiscard]] std::string wordsOf(const Obstacle& obstacle) const {
    if (reader_ == Reader::user) return wordsFor(obstacle);
    const char* what = obstacle.kind == Obstacle::Kind::gap       ? "is empty"
                       : obstacle.kind == Obstacle::Kind::damaged ? "is damaged"
                                                                  : "does not load";
    return fmt::format("Slot {} {} and hides {} records", obstacle.slot, what, obstacle.hidden);
  }

  void examineMove() {
    KeychainMove move(session_.defaults(), {});
    const auto unfinished = move.unfinished();
    if (!unfinished) return;
    const bool copying = unfinished->step == KeychainMove::Unfinished::Step::copying;
    add(translated("keychain move"), false,
        copying ? translatedWith("a move to {} was cut short; the tokens are where they were. Run "
                                 "`softtoken-cli keychain {}` to finish it",
                                 unfinished->kind, unfinished->kind)
                : translatedWith("the tokens were moved, but copies are left in {}; run "
                                 "`softtoken-cli keychain {}` to delete them",
                                 unfinished->kind, session_.keychainKind()));
  }

  void examineIdentifiers() {
    const auto found = [](const std::string& text) {
      return text.empty() ? translated("missing") : translated("found");
    };
    const Identity identity = session_.identifiers().read();
    if (!identity.problem.empty()) {
      add(translated("device identifiers"), false, identity.problem);
      return;
    }
    const bool any = !(identity.serial_number.empty() && identity.volume_uuid.empty());
    add(translated("device identifiers"), any,
        translatedWith("serial number {}, volume {}, user {}", found(identity.serial_number),
                       found(identity.volume_uuid), found(identity.user)));
  }

  void examineSettings(const Ini& settings) {
    for (const std::string& path : settings.unreadableFiles()) {
      add(translated("settings file"), false, unreadableFile(path));
    }
    add(translated("settings file"), true,
        settings.file().empty() ? std::string(translated("none; every setting has its default"))
                                : settings.file());
    examineSettingsFile(translated("settings file"), settings.file(), settings.bAllowHTTP);
    if (!settings.policyProblem().empty())
      add(translated("policy"), false, settings.policyProblem());
    if (settings.policyFile().empty()) return;
    add(translated("policy"), true, settings.policyFile());
    examineSettingsFile(translated("policy"), settings.policyFile(), settings.bAllowHTTP);
  }

  void examineSettingsFile(const std::string& subject, const std::string& path, bool allow_http) {
    std::string text;
    if (path.empty() || readRegularFile(path, &text) != 0) return;
    for (const SettingsFinding& finding : checkSettings(text, allow_http)) {
      add(subject, false, fmt::format("{}:{}: {}", path, finding.line, finding.text));
    }
    if (std::string words = changeableByOthers(path); !words.empty()) {
      add(subject, false, std::move(words));
    }
  }

  void examineClock() {
    const std::time_t now = std::time(nullptr);
    const std::string text = fmt::format("{:%Y-%m-%d %H:%M:%S} UTC", fmt::gmtime(now));
    const bool good = now >= earliest_time;
    add(translated("clock"), good,
        good ? translatedWith("{}; passcodes depend on it, so compare it with a clock you trust",
                              text)
             : translatedWith("{} is in the past; set the clock, or every passcode will be wrong",
                              text));
  }

  // Asks the server, if there is one, for its time. The request has no user name.
  void examineServer(const Ini& settings) {
    if (!settings.bAllowTaEnrol || settings.EnrolURL.empty()) return;
    const std::string url = settings.tidyEnrolURL();
    if (std::string words = problemWithEnrolURL(url, settings.bAllowHTTP); !words.empty()) {
      add(translated("enrolment server"), false, std::move(words));
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
      add(translated("enrolment server"), false,
          translatedWith("{} cannot be reached: {}", url, urlErrorWords(error)));
      return;
    }
    add(translated("enrolment server"), response.status == http_ok,
        translatedWith("{} answered with status {}", url, response.status));
    if (!response.date) return;
    const auto trouble = clockTrouble(*response.date - now);
    add(translated("server's clock"), !trouble,
        trouble ? *trouble : std::string(translated("agrees with this computer's")));
  }

  void examineMode(const OwnFile& file) {
    const std::string& path = file.path;
    const bool link = S_ISLNK(file.status.st_mode);
    if (link || file.status.st_uid != geteuid()) {
      add(translated("file mode"), false,
          link ? translatedWith("{} is a link, so it is not used; remove it", path)
               : translatedWith("{} belongs to another user, so it is not used; remove it", path));
      return;
    }
    const unsigned mode = modeOf(file.status);
    std::string words = fmt::format("{} {:04o}", path, mode);
    const bool good = (mode & rights_of_others) == 0;
    struct stat now {};
    if (!good && lstat(path.c_str(), &now) == 0 && (modeOf(now) & rights_of_others) == 0) {
      words = translatedWith("{}; others could use it, but no longer: it is {} now", words,
                             fmt::format("{:04o}", modeOf(now)));
    } else if (!good) {
      words = translatedWith("{}; others can use it, so run `chmod {} {}`", words,
                             S_ISDIR(file.status.st_mode) ? "700" : "600", path);
    }
    add(translated("file mode"), good, std::move(words));
  }

  void examineTrace(const Ini& settings) {
    const std::string path = withTildeExpanded(trace_path);
    struct stat status {};
    if (!settings.bDebug || lstat(path.c_str(), &status) != 0) return;
    add(translated("trace"), false,
        translatedWith("Debug is on, and {} holds what can make your passcodes; when you are done, "
                       "switch Debug off, restart the program and delete that file",
                       path));
  }

  Session& session_;
  Reader reader_;
  Examination found_;
};

}  // namespace

bool Examination::good() const {
  return std::all_of(findings.begin(), findings.end(),
                     [](const Finding& finding) { return finding.good; });
}

Examination examine(Session& session, Reader reader) {
  return Examiner(session, reader).examine();
}

std::vector<std::string> olderSettings(const Ini& settings) {
  std::vector<std::string> words;
  const auto written = settings.written();
  for (const ProgramFacts& facts : runningPrograms()) {
    const auto process = facts.find("pid");
    if (process == facts.end()) continue;
    std::vector<std::string_view> keys;
    for (const Ini::Key& key : Ini::keys()) {
      const std::string name = lowerCase(key.name);
      const auto then = valueOf(facts, setting_fact + name);
      if (then != valueOf(written, name)) keys.push_back(key.name);
    }
    if (keys.empty()) continue;
    words.push_back(
        translatedWith("The running program (process {}) has an older value of {}; restart it",
                       process->second, fmt::join(keys, ", ")));
  }
  return words;
}

}  // namespace talvane
