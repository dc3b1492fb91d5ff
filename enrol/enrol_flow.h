#pragma once

// The enrolment conversation, from sign-in to the stored token. It drives a set of views and knows
// no widget. Everything runs on the main thread except the first GET of a session, which a worker
// performs.

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "config/ini.h"
#include "engine/cleared.h"
#include "engine/gateway.h"
#include "engine/soft_token_info.h"
#include "enrol/ta_enrol_client.h"
#include "enrol/ta_http.h"
#include "enrol/workers.h"
#include "platform/url_loading.h"
#include "store/problem.h"
#include "store/token_store.h"

namespace talvane {

/// What the flow needs of the enrolment views.
class EnrolViews {
 public:
  enum class View : std::uint8_t { tv, av, eva, evgi, evgu };
  enum class Field : std::uint8_t { userid, password, passcode };
  struct GetInfoInput {
    Cleared<std::string> pin;
    std::array<std::string, 3> questions;  // titles of the selected items
    std::array<Cleared<std::string>, 3> answers;
    /// The PIN as it was typed the second time; nullopt where that is not asked.
    std::optional<Cleared<std::string>> pin_again = std::nullopt;
  };

  virtual ~EnrolViews() = default;

  virtual void switchView(View from, View to) = 0;
  /// The issued token was stored in this slot.
  virtual void stored(std::int32_t /*slot*/) {}
  /// Switches from any view to the token view.
  virtual void goHome() = 0;
  virtual void refreshAuthentication() = 0;
  /// Whether the sign-in view is open.
  virtual bool showsAuthentication() = 0;

  virtual void eva_layout() = 0;
  virtual void setAuthenticationMessage(const std::string& text) = 0;
  virtual void enableAuthenticationSubmit(bool enabled) = 0;
  virtual Cleared<std::string> input(Field field) = 0;
  virtual void clear(Field field) = 0;

  virtual GetInfoInput getInfoInput() = 0;
  virtual void enableGetInfoSubmit(bool enabled) = 0;

  virtual std::string addressInput() = 0;
  virtual void setAddressMessage(const std::string& text) = 0;

  virtual void simpleMessageBox(const std::string& text) = 0;
  /// Asks whether the issued token may replace the stored one of this name, which did not come from
  /// the same server.
  virtual bool mayReplace(const SoftTokenInfo& issued, const std::string& stored) = 0;
};

/// Why the server's address cannot be used; nullopt if it can. The scheme must be in lower case.
std::optional<std::string> problemWithAddress(const std::string& url, bool allow_http);

class EnrolFlow {
 public:
  /// Borrows everything but the functions. The first session calls `make_loader`.
  struct Parts {
    EnrolViews* views = nullptr;
    Ini* ini = nullptr;
    TokenStore* store = nullptr;
    Gateway* clock = nullptr;  // compared with the server's clock
    std::function<std::unique_ptr<UrlLoader>(std::string* error)> make_loader;
    /// Runs the work on the main thread, later; does not wait. Any thread may call it. Drops the
    /// work once the flow is gone.
    std::function<void(std::function<void()> work)> run_on_main_thread;
  };
  explicit EnrolFlow(Parts parts);
  ~EnrolFlow() { end(); }

  /// Cancels running requests and waits for the workers. No session can start after it.
  void end();

  /// Starts a session, in place of any earlier one.
  void eva_init();
  void eva_submitclicked();
  void eva_cancelclicked();
  [[nodiscard]] bool eva_calcsubmitstate();
  void evgi_submitclicked();
  void evgi_cancelclicked();
  void evgu_submitclicked();
  void evgu_cancelclicked();
  /// Whether the worker of the first GET is still running.
  [[nodiscard]] bool hasWorker() const { return eva_thread_; }
  /// The sign-in view closes. The flow no longer waits for the worker, whose result still arrives.
  void abandonWorker() { eva_thread_ = false; }

  /// The views have closed for good. Clears what the session knows of its user and their token; a
  /// reply under way still arrives.
  void forgetSecrets();

  /// A text field has changed.
  enum class Changed : std::uint8_t { userid, password, passcode, pin, other };
  void controlTextDidChange(Changed field);

  /// The session's client; null outside a session.
  [[nodiscard]] TaEnrolClient* taenrol() { return session_ ? &session_->client : nullptr; }
  [[nodiscard]] bool pleasewait() const { return eva_pleasewait_; }
  /// What became of the session's last request, for the user; empty if it was answered with status
  /// 200, is still under way, or if there was none.
  [[nodiscard]] std::string transferProblem() const;

  /// How the last session that reached its final request ended.
  struct Ending {
    bool stored = false;
    std::string name;                          // of the token, when stored
    std::string problem;                       // unless stored, for the user
    std::optional<std::int64_t> server_ahead;  // seconds, by the server's clock
  };
  [[nodiscard]] const std::optional<Ending>& ending() const { return ending_; }

  /// How far the session has come.
  enum class Step : std::uint8_t {
    signing_in,  // or none has begun
    completing,  // the server may issue the token at any time
    storing,     // it has
    ended
  };
  /// Any thread, and signal handlers.
  [[nodiscard]] Step step() const { return step_; }

 private:
  // The state of one session. The worker of its first GET keeps it alive.
  struct Session {
    std::shared_ptr<TaHttp> http;
    TaEnrolClient client;
    bool awaits_reply = false;  // its `http` is in use
  };

  void eva_threadstart(const std::shared_ptr<Session>& session);
  void eva_threadfinished(const std::shared_ptr<Session>& session,
                          const std::optional<std::string>& error);
  void showAddressError(const std::string& text);
  void redirectToHttps(const std::string& error);
  std::optional<std::string> makeRequest();
  std::optional<std::string> submit();
  std::optional<std::string> actOnResult();
  void EnrolSubmit();
  void tellStored(const std::optional<Problem>& problem);
  void EndSession();

  Parts parts_;
  EnrolViews& views_;
  Ini& ini_;
  std::shared_ptr<UrlLoader> loader_;
  std::shared_ptr<Session> session_;
  Workers workers_;
  bool eva_thread_ = false;
  std::string eva_thread_result_;  // set at the start; nothing reads it
  bool eva_pleasewait_ = false;
  std::optional<Ending> ending_;
  std::atomic<Step> step_ = Step::signing_in;
  static_assert(std::atomic<Step>::is_always_lock_free);
};

}  // namespace talvane
