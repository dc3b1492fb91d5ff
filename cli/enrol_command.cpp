#include <fmt/core.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <condition_variable>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "cli/command.h"
#include "cli/exit_codes.h"
#include "cli/failure.h"
#include "cli/session.h"
#include "cli/terminal.h"
#include "config/ini.h"
#include "engine/cleared.h"
#include "engine/log.h"
#include "engine/soft_token_info.h"
#include "engine/text.h"
#include "enrol/clock_trouble.h"
#include "enrol/enrol_flow.h"
#include "enrol/enrol_layout.h"
#include "enrol/pin_rules.h"
#include "enrol/ta_enrol_client.h"
#include "platform/translation.h"
#include "platform/url_loading.h"

namespace talvane {
namespace {

// The enrolment's views as questions and answers. On a terminal, a refused answer is reported and
// asked for again; elsewhere it ends the command.
class TerminalViews final : public EnrolViews {
 public:
  TerminalViews(Ini& settings, bool replace) : settings_(settings), replace_(replace) {}

  void converse(EnrolFlow& flow) {
    flow_ = &flow;
    flow.eva_init();
    while (view_ != View::tv && view_ != View::av) {
      switch (view_) {
        case View::eva:
          if (flow.pleasewait()) {
            workOnce();
          } else {
            signIn();
          }
          break;
        case View::evgi:
          giveInfo();
          break;
        case View::evgu:
        default:
          throw Failure(exit_failed, explained(address_message_));
      }
    }
  }

  void switchView(View /*from*/, View to) override { view_ = to; }
  void goHome() override { view_ = View::tv; }
  void refreshAuthentication() override { flow_->eva_init(); }
  bool showsAuthentication() override { return view_ == View::eva; }
  void eva_layout() override {}
  void setAuthenticationMessage(const std::string& text) override { message_ = text; }
  void enableAuthenticationSubmit(bool /*enabled*/) override {}
  Cleared<std::string> input(Field field) override { return inputs_[field]; }
  void clear(Field field) override { inputs_[field].clear(); }
  GetInfoInput getInfoInput() override { return info_; }
  void enableGetInfoSubmit(bool /*enabled*/) override {}
  std::string addressInput() override { return settings_.EnrolURL; }
  void setAddressMessage(const std::string& text) override { address_message_ = text; }
  void simpleMessageBox(const std::string& text) override { complain(text); }
  bool mayReplace(const SoftTokenInfo& /*issued*/, const std::string& stored) override {
    if (replace_) return true;
    throw Failure(
        exit_failed,
        translatedWith("Nothing was enrolled: the new token would replace \"{}\", which does "
                       "not come from this server; add --replace to replace it",
                       shownName(stored)));
  }

  void performOnMainThread(std::function<void()> work) {
    const std::lock_guard guard(mutex_);
    work_.push_back(std::move(work));
    arrived_.notify_one();
  }

 private:
  void workOnce() {
    std::function<void()> work;
    {
      std::unique_lock lock(mutex_);
      arrived_.wait(lock, [this] { return !work_.empty(); });
      work = std::move(work_.front());
      work_.pop_front();
    }
    work();
  }

  // The flow's own words for a failed request are meant for a narrow view.
  [[nodiscard]] std::string explained(const std::string& words) const {
    std::string problem = flow_->transferProblem();
    return problem.empty() ? words : problem;
  }

  static void complain(const std::string& text) {
    if (isatty(STDIN_FILENO) == 0) throw Failure(exit_failed, text);
    fmt::print(stderr, "{}\n", printable(translated(text)));
  }

  AuthenticationLayout layout() {
    return authenticationLayout(settings_, flow_->taenrol(), flow_->pleasewait(), message_,
                                inputs_[Field::userid].get().empty());
  }

  void signIn() {
    if (flow_->ending()) throw Failure(exit_failed, flow_->ending()->problem);
    if (const std::string said = std::exchange(message_, ""); !said.empty()) {
      // Other answers cannot fix what the first reply reports.
      if (!asked_) throw Failure(exit_failed, explained(said));
      complain(explained(said));
    }
    asked_ = true;
    const AuthenticationLayout shown = layout();
    fmt::print(stderr, "{}\n", printable(shown.message));
    if (shown.shows_userid) askForUser();
    if (shown.shows_password) {
      inputs_[Field::password] = readLine(settings_.StrPassword + ": ", true);
    }
    if (shown.shows_passcode) {
      inputs_[Field::passcode] = readLine(settings_.StrPasscode + ": ", true);
    }
    if (!shown.shows_userid && !shown.shows_password && !shown.shows_passcode) {
      // The user has to do something elsewhere, for example on a telephone.
      static_cast<void>(readLine(marked("Press Return to continue: "), false));
    }
    if (!flow_->eva_calcsubmitstate()) {
      complain("Fill in the empty field");
      return;
    }
    flow_->eva_submitclicked();
  }

  void askForUser() {
    const std::string before = inputs_[Field::userid].get();
    const std::string kept = before.empty() ? "" : fmt::format(" [{}]", printable(before));
    const std::string answer = readLine(settings_.StrUsername + kept + ": ", false);
    if (before.empty() || !answer.empty()) inputs_[Field::userid] = answer;
  }

  void giveInfo() {
    TaEnrolClient* client = flow_->taenrol();
    if (client == nullptr) {
      throw Failure(exit_failed, flow_->ending()
                                     ? flow_->ending()->problem
                                     : translated("The enrolment has ended; try again"));
    }
    if (client->bUSERCREATEPIN) info_.pin = newPin(*client);
    if (client->bENROL) askQuestions(*client);
    flow_->evgi_submitclicked();
  }

  static Cleared<std::string> newPin(const TaEnrolClient& client) {
    for (;;) {
      fmt::print(stderr, "{}\n", printable(pinPrompt(client)));
      Cleared<std::string> pin = readLine(marked("PIN: "), true);
      if (const auto reason = whyRefused(client, pin)) {
        complain(*reason);
      } else if (isatty(STDIN_FILENO) == 0 || readLine(marked("PIN again: "), true) == pin) {
        return pin;
      } else {
        complain("The PINs do not match");
      }
    }
  }

  static std::optional<std::string> whyRefused(const TaEnrolClient& client,
                                               const std::string& pin) {
    const EngineLog::Pause quiet;  // the flow checks it again
    const auto length = static_cast<std::int64_t>(utf16Length(pin));
    if (length != client.PINLENGTH) {
      return translatedWith("{}; it must have {}",
                            translatedCount("The PIN has {} character", "The PIN has {} characters",
                                            static_cast<std::uint64_t>(length)),
                            client.PINLENGTH);
    }
    if (!checkPIN(client, pin)) {
      return translatedWith(
          "The PIN must have at least {} uppercase and at least {} lowercase letters",
          client.UPPERCASE, client.LOWERCASE);
    }
    return checkPINAdvanced(client, pin);
  }

  void askQuestions(const TaEnrolClient& client) {
    fmt::print(stderr, "{}\n", printable(settings_.StrSecretQuestions));
    std::vector<TaEnrolClient::Questions> lists{
        client.QUESTIONS1.value_or(TaEnrolClient::Questions()),
        client.QUESTIONS2.value_or(TaEnrolClient::Questions())};
    if (client.QUESTIONS3) lists.push_back(*client.QUESTIONS3);
    for (std::size_t i = 0; i < lists.size(); ++i) {
      info_.questions[i] = chooseQuestion(lists[i], i);
      info_.answers[i] = readLine(printable(info_.questions[i]) + " ", true);
    }
  }

  // The user chooses by number. Questions that are already chosen are not offered again.
  std::string chooseQuestion(const TaEnrolClient::Questions& titles, std::size_t which) {
    TaEnrolClient::Questions offered;
    for (const std::string& title : titles) {
      const auto chosen_end = info_.questions.begin() + static_cast<std::ptrdiff_t>(which);
      if (std::find(info_.questions.begin(), chosen_end, title) == chosen_end) {
        offered.push_back(title);
      }
    }
    if (offered.empty()) return titles.empty() ? std::string() : titles.front();
    for (std::size_t i = 0; i < offered.size(); ++i) {
      fmt::print(stderr, "  {} {}\n", i + 1, printable(offered[i]));
    }
    for (;;) {
      const std::string answer =
          readLine(translatedWith("Question {} (1 to {}): ", which + 1, offered.size()), false);
      std::size_t number = 0;
      const char* end = answer.data() + answer.size();
      const auto [rest, error] = std::from_chars(answer.data(), end, number);
      if (error == std::errc() && rest == end && number >= 1 && number <= offered.size()) {
        return offered[number - 1];
      }
      complain(translatedWith("Enter a number from 1 to {}", offered.size()));
    }
  }

  Ini& settings_;
  bool replace_;
  EnrolFlow* flow_ = nullptr;
  View view_ = View::eva;
  bool asked_ = false;
  std::string message_;
  std::string address_message_;
  std::map<Field, Cleared<std::string>> inputs_;
  GetInfoInput info_;
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<std::function<void()>> work_;
};

// While it lives, a signal that ends the program says what has become of the token; one that comes
// while the token is being stored waits for that. One at a time.
class InterruptionWords {
 public:
  explicit InterruptionWords(const EnrolFlow& flow) {
    flow_ = &flow;
    // A signal handler cannot look up texts.
    nothing_stored_ = lineOf(translated("Interrupted; nothing was stored"));
    perhaps_issued_ = lineOf(
        translated("Interrupted; nothing was stored, though the server may have issued the token; "
                   "enrol again"));
    struct sigaction ending {};
    ending.sa_handler = say;
    ending.sa_flags = SA_RESTART;
    for (std::size_t i = 0; i < signals.size(); ++i) sigaction(signals[i], &ending, &before_[i]);
  }
  ~InterruptionWords() {
    for (std::size_t i = 0; i < signals.size(); ++i) sigaction(signals[i], &before_[i], nullptr);
    flow_ = nullptr;
  }
  InterruptionWords(const InterruptionWords&) = delete;
  InterruptionWords& operator=(const InterruptionWords&) = delete;

 private:
  static constexpr std::array signals{SIGINT, SIGTERM, SIGHUP};

  static std::string lineOf(const std::string& words) {
    return fmt::format("\nsofttoken-cli: {}\n", words);
  }

  static void say(int signal) {
    const int error = errno;
    std::string_view words = nothing_stored_;
    switch (flow_->step()) {
      case EnrolFlow::Step::storing:
      case EnrolFlow::Step::ended:
        errno = error;
        return;
      case EnrolFlow::Step::completing:
        words = perhaps_issued_;
        break;
      case EnrolFlow::Step::signing_in:
        break;
    }
    static_cast<void>(!write(STDERR_FILENO, words.data(), words.size()));
    std::signal(signal, SIG_DFL);
    std::raise(signal);
  }

  static inline const EnrolFlow* flow_ = nullptr;
  static inline std::string nothing_stored_;
  static inline std::string perhaps_issued_;
  std::array<struct sigaction, 3> before_{};
};

class EnrolCommand final : public Command {
 public:
  CLI::App* addTo(CLI::App& line) override {
    CLI::App* parser =
        line.add_subcommand("enrol", "Get a token from your organisation's enrolment server");
    parser->add_option("url", url_, "The server's address; by default the setting EnrolURL")
        ->type_name("URL");
    parser->add_flag("--replace", replace_,
                     "Replace a token of the same name that does not come from this server");
    return parser;
  }

  void run(Session& session) override {
    Ini& settings = session.settings();
    if (!settings.bAllowTaEnrol) {
      throw Failure(exit_failed,
                    "The setting AllowTaEnrol does not allow enrolment; ask your administrator");
    }
    if (!url_.empty()) settings.EnrolURL = url_;
    if (settings.EnrolURL.empty()) {
      throw Failure(exit_failed,
                    translatedWith("{}; give the server's address", settings.StrErrNoEnrolURL));
    }
    // Checked first: a token that the server issues must have a slot to go to.
    if (const auto room = session.store().checkRoom(); !room) throw failureOf(room.error());
    TerminalViews views(settings, replace_);
    EnrolFlow flow(
        {&views, &settings, &session.store(), &session.gateway(),
         [](std::string* error) { return makeUrlLoader(error); },
         [&views](std::function<void()> work) { views.performOnMainThread(std::move(work)); }});
    {
      const InterruptionWords words(flow);
      views.converse(flow);
    }
    const auto& ending = flow.ending();
    if (!ending || !ending->stored) {
      throw Failure(exit_failed, ending ? ending->problem
                                        : translated("The enrolment was not completed; try again"));
    }
    fmt::print("{}", translatedWith("Stored \"{}\".\n", printable(ending->name)));
    if (ending->server_ahead) {
      if (const auto words = clockTrouble(*ending->server_ahead)) {
        fmt::print(stderr, "{}\n", *words);
      }
    }
  }

 private:
  std::string url_;
  bool replace_ = false;
};

}  // namespace

std::unique_ptr<Command> makeEnrolCommand() {
  return std::make_unique<EnrolCommand>();
}

}  // namespace talvane
