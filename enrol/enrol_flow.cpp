#include "enrol/enrol_flow.h"

#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "engine/cleared.h"
#include "engine/text.h"
#include "engine/url.h"
#include "engine/vane.h"
#include "enrol/pin_rules.h"
#include "enrol/ta_http.h"
#include "platform/translation.h"
#include "platform/url_loading.h"
#include "store/problem.h"
#include "store/token_store.h"

namespace talvane {
namespace {

using View = EnrolViews::View;
using Field = EnrolViews::Field;

constexpr long http_ok = 200;
constexpr long http_proxy_authentication = 407;

// Turns a leading "http://", upper or lower case, into "https://".
std::string withHttps(const std::string& url) {
  constexpr std::string_view http = "http://";
  const std::string head = lowerCase(url.substr(0, http.size()));
  return head == http ? "https://" + url.substr(http.size()) : url;
}

// Runs on the worker and touches only its arguments.
std::optional<std::string> firstRequest(TaHttp& http, const std::string& url, bool allow_http) {
  try {
    if (auto problem = problemWithAddress(url, allow_http)) return problem;
    vane::log("EVA: threadstart: doing initial GET...");
    http.get(url);
    vane::log("EVA: threadstart: http result: {}", http.status());
    vane::log("EVA: threadstart: http error: {}", orNil(http.error()));
    return std::nullopt;
  } catch (const std::bad_alloc&) {
    return translated(not_enough_memory);
  }
}

}  // namespace

std::optional<std::string> problemWithAddress(const std::string& url, bool allow_http) {
  if (!url.starts_with("http://") && !url.starts_with("https://")) {
    return translated("Invalid URL (must begin with http:// or https://)");
  }
  if (url.starts_with("http://") && !allow_http) return translated("Http not allowed");
  return std::nullopt;
}

EnrolFlow::EnrolFlow(Parts parts)
    : parts_(std::move(parts)), views_(*parts_.views), ini_(*parts_.ini) {}

std::string EnrolFlow::transferProblem() const {
  if (session_ == nullptr || session_->awaits_reply) return {};
  const TaHttp& http = *session_->http;
  if (http.status() == http_ok || !http.error()) return {};
  if (http.status() == 0) {
    return translatedWith(
        "The server cannot be reached: {}; check its address and the network, and try again",
        urlErrorWords(*http.error()));
  }
  return translatedWith(
      "The server answered with HTTP status {}; try again later, or ask your administrator",
      http.status());
}

void EnrolFlow::end() {
  if (loader_ != nullptr) loader_->stop();
  workers_.join();
}

void EnrolFlow::eva_init() {
  for (const Field field : {Field::userid, Field::password, Field::passcode}) views_.clear(field);
  eva_pleasewait_ = true;
  views_.setAuthenticationMessage("");
  views_.enableAuthenticationSubmit(false);
  // A PIN that was refused in an earlier session must not block this session's answers.
  views_.enableGetInfoSubmit(true);
  ending_.reset();
  step_ = Step::signing_in;
  std::string unavailable;
  if (loader_ == nullptr) loader_ = parts_.make_loader(&unavailable);
  session_.reset();
  views_.eva_layout();
  eva_thread_result_ = "ERR Unknown";
  auto session = std::make_shared<Session>();
  session->http = std::make_shared<TaHttp>(loader_, unavailable);
  session->http->clearcookies(ini_.tidyEnrolURL());
  session_ = session;
  eva_threadstart(session);
}

void EnrolFlow::eva_threadstart(const std::shared_ptr<Session>& session) {
  eva_thread_ = true;
  session->awaits_reply = true;
  workers_.start([this, session, url = ini_.tidyEnrolURL(), allow_http = ini_.bAllowHTTP] {
    const std::optional<std::string> error = firstRequest(*session->http, url, allow_http);
    parts_.run_on_main_thread([this, session, error] { eva_threadfinished(session, error); });
  });
}

void EnrolFlow::eva_threadfinished(const std::shared_ptr<Session>& session,
                                   const std::optional<std::string>& error) {
  workers_.joinFinished();
  session->awaits_reply = false;
  // Ignore a reply to an earlier session.
  if (session != session_) return;
  eva_thread_ = false;
  eva_pleasewait_ = false;
  views_.setAuthenticationMessage("");
  if (error) {
    showAddressError(*error);
    views_.eva_layout();
    return;
  }
  TaHttp& http = *session->http;
  if (http.status() == http_proxy_authentication) {
    views_.eva_layout();
    return;
  }
  if (http.status() != http_ok) {
    showAddressError("[http] " + std::string(orNil(http.error())));
    views_.eva_layout();
    return;
  }
  const auto refused = session->client.processEnrolResponse(http.data(), TaEnrolClient::get_parser);
  if (!refused) {
    views_.enableAuthenticationSubmit(true);
  } else if (*refused == "REDIRECTHTTPS") {
    redirectToHttps(*refused);
  } else {
    views_.setAuthenticationMessage(translated("Error: ") + *refused);
  }
  views_.eva_layout();
}

void EnrolFlow::showAddressError(const std::string& text) {
  views_.setAddressMessage(translated("Error: ") + text);
  // The user may have left the view: do not switch it.
  if (views_.showsAuthentication()) views_.switchView(View::eva, View::evgu);
}

void EnrolFlow::redirectToHttps(const std::string& error) {
  vane::log("EVA: threadfinished: redirect https");
  // Stops a server that keeps asking for https over https.
  const std::string secure = withHttps(ini_.EnrolURL);
  const bool changes = secure != ini_.EnrolURL;
  ini_.EnrolURL = secure;
  if (!views_.showsAuthentication()) return;
  if (changes) views_.refreshAuthentication();
  views_.setAuthenticationMessage(translated("Error: ") + error);
}

bool EnrolFlow::eva_calcsubmitstate() {
  const TaEnrolClient* client = taenrol();
  if (client == nullptr) return false;
  if (client->bChallenge) return !client->bPASSCODE || !views_.input(Field::passcode)->empty();
  if (views_.input(Field::userid)->empty()) return false;
  return !client->bPASSWORD || !views_.input(Field::password)->empty();
}

void EnrolFlow::eva_submitclicked() {
  if (session_ == nullptr || eva_pleasewait_) return;
  eva_pleasewait_ = true;
  views_.setAuthenticationMessage("");
  views_.enableAuthenticationSubmit(false);
  views_.eva_layout();
  const std::optional<std::string> error = submit();
  eva_pleasewait_ = false;
  if (!error) {
    // The final request could not be made, so there is nothing to wait for.
    if (session_ == nullptr && ending_ && views_.showsAuthentication()) {
      views_.setAuthenticationMessage(ending_->problem);
      views_.eva_layout();
    }
    return;
  }
  vane::log("EVA: submitclicked: result: {}", *error);
  if (session_ != nullptr) session_->client.bChallenge = false;
  views_.setAuthenticationMessage(*error);
  views_.clear(Field::password);
  views_.clear(Field::passcode);
  views_.eva_layout();
}

std::optional<std::string> EnrolFlow::makeRequest() {
  TaEnrolClient& client = session_->client;
  const Cleared<std::string> passcode = views_.input(Field::passcode);
  if (client.bChallenge) return client.makeChallengeResponsePOST(passcode.get());
  const Cleared<std::string> userid = views_.input(Field::userid);
  const Cleared<std::string> typed_password = views_.input(Field::password);
  std::optional<std::string_view> password;
  if (client.bPASSWORD) password = typed_password.get();
  return client.makeAuthPOST(userid.get(), password, passcode.get());
}

std::optional<std::string> EnrolFlow::submit() {
  if (auto error = makeRequest()) return error;
  TaEnrolClient& client = session_->client;
  TaHttp& http = *session_->http;
  http.post(ini_.tidyEnrolURL(), client.post.value_or(""));
  eva_pleasewait_ = false;
  views_.setAuthenticationMessage("");
  if (http.status() != http_ok) return "ERR Todo";
  vane::log("EVA: submitclicked: HTTP 200");
  // The server's wish for a password lasts; everything else is as this reply says.
  const bool wanted_password = client.bPASSWORD;
  client.defaultValues();
  if (wanted_password) client.bPASSWORD = true;
  if (auto error = client.processEnrolResponse(http.data(), TaEnrolClient::post_parser)) {
    return error;
  }
  return actOnResult();
}

std::optional<std::string> EnrolFlow::actOnResult() {
  TaEnrolClient& client = session_->client;
  switch (client.RESULT) {
    case TaEnrolClient::Result::get_info:
      vane::log("EVA: submitclicked: access accept!");
      if (client.SOFTTOKEN == nullptr) return "ERR Soft token info Nil";
      if (client.SOFTTOKENURL->empty()) return "ERR Soft token not found in response";
      if (client.bUSERCREATEPIN || client.bGETMBNUMBER || client.bENROL) {
        vane::log("EVA: submitclicked: Need to get info from user. Switching to EnrolGetInfo...");
        views_.switchView(View::eva, View::evgi);
      } else {
        vane::log("EVA: submitclicked: Nothing needed from user. Submitting...");
        EnrolSubmit();
      }
      return std::nullopt;
    case TaEnrolClient::Result::denied:
      return client.MESSAGE.empty() ? ini_.StrAccessDenied : client.MESSAGE;
    case TaEnrolClient::Result::challenge:
      views_.clear(Field::passcode);
      views_.eva_layout();
      return std::nullopt;
    case TaEnrolClient::Result::error:
      return "ERR Unexpected authentication error";
    case TaEnrolClient::Result::unknown:
      break;
  }
  return "ERR Unknown authentication error";
}

void EnrolFlow::eva_cancelclicked() {
  if (session_ != nullptr) session_->client.defaultValues();
  views_.switchView(View::eva, ini_.bAllowManual ? View::av : View::tv);
}

void EnrolFlow::evgi_submitclicked() {
  if (session_ == nullptr) return;
  TaEnrolClient& client = session_->client;
  const EnrolViews::GetInfoInput input = views_.getInfoInput();
  if (client.bUSERCREATEPIN) {
    if (!checkPIN(client, input.pin)) {
      views_.simpleMessageBox(translated("Pin did not meet requirements."));
      return;
    }
    if (const auto weakness = checkPINAdvanced(client, input.pin)) {
      views_.simpleMessageBox(*weakness);
      return;
    }
    if (input.pin_again && input.pin_again->get() != input.pin.get()) {
      views_.simpleMessageBox(translated("The PINs do not match; type the PIN again"));
      return;
    }
  }
  client.PIN = input.pin;
  client.QUESTION1 = input.questions[0];
  client.QUESTION2 = input.questions[1];
  client.QUESTION3 = input.questions[2];
  client.ANSWER1 = input.answers[0];
  client.ANSWER2 = input.answers[1];
  client.ANSWER3 = input.answers[2];
  if (client.bENROL) {
    if (const auto wrong = checkAnswers(client, input.answers)) {
      views_.simpleMessageBox(*wrong);
      return;
    }
  }
  EnrolSubmit();
}

void EnrolFlow::evgi_cancelclicked() {
  views_.switchView(View::evgi, ini_.bAllowManual ? View::av : View::tv);
}

void EnrolFlow::evgu_submitclicked() {
  ini_.EnrolURL = views_.addressInput();
  views_.switchView(View::evgu, View::eva);
}

void EnrolFlow::evgu_cancelclicked() {
  views_.switchView(View::evgu, ini_.bAllowManual ? View::av : View::tv);
}

void EnrolFlow::EnrolSubmit() {
  TaEnrolClient& client = session_->client;
  ending_ = Ending{};
  if (const auto error = client.makeGetInfoResponsePOST()) {
    vane::log("EnrolSubmit: taenrol makeGetInfoResponse error: {}", *error);
    ending_->problem = *error;
    EndSession();
    return;
  }
  // A token that the server issues must have a slot to go to.
  const std::string server = originOf(ini_.tidyEnrolURL());
  const auto plan = parts_.store->plan(*client.SOFTTOKEN, server);
  auto same_name = TokenStore::SameName::refuse;
  std::optional<Problem> refused;
  if (!plan) {
    refused = plan.error();
  } else if (plan->replaces && !plan->from_same_server) {
    if (views_.mayReplace(*client.SOFTTOKEN, *plan->replaces)) {
      same_name = TokenStore::SameName::replace;
    } else {
      refused = Problem{Problem::Next::other_input,
                        translated("The enrolment was not completed, because its token would have "
                                   "replaced another one")};
    }
  }
  if (refused) {
    tellStored(refused);
    EndSession();
    views_.goHome();
    return;
  }
  TaHttp& http = *session_->http;
  step_ = Step::completing;
  http.post(ini_.tidyEnrolURL(), client.post.value_or(""));
  if (http.date()) ending_->server_ahead = *http.date() - parts_.clock->CurrentTime();
  std::optional<std::string_view> body;
  if (http.data() != nullptr && isUtf8(http.data())) body = http.data();
  if (body && body->starts_with("RESULT:OK,COMPLETE")) {
    step_ = Step::storing;
    const auto added = parts_.store->addIssued(*client.SOFTTOKEN, server, same_name);
    tellStored(added ? std::nullopt : std::optional(added.error()));
    if (added) views_.stored(added->slot);
  } else {
    vane::log("EnrolSubmit: unexpected response: {}", body.value_or(nil_text));
    ending_->problem = translated("The server did not complete the enrolment; try again");
  }
  EndSession();
  views_.goHome();
}

void EnrolFlow::tellStored(const std::optional<Problem>& problem) {
  ending_->name = session_->client.SOFTTOKEN->currentDescription().value_or("");
  ending_->stored = !problem;
  if (problem) ending_->problem = problem->words;
  vane::log("{}", ending_->stored ? "EnrolSubmit: write token success"
                                  : "EnrolSubmit: write token failed");
}

void EnrolFlow::EndSession() {
  vane::log("EndSession================");
  step_ = Step::ended;
  session_.reset();
}

void EnrolFlow::forgetSecrets() {
  if (session_ == nullptr || session_->awaits_reply) return;
  session_->client.clearSecrets();
  session_->http->setData(std::nullopt);
}

void EnrolFlow::controlTextDidChange(Changed field) {
  switch (field) {
    case Changed::userid:
    case Changed::password:
    case Changed::passcode:
      views_.enableAuthenticationSubmit(eva_calcsubmitstate());
      return;
    case Changed::pin:
      if (session_ != nullptr) {
        views_.enableGetInfoSubmit(checkPIN(session_->client, views_.getInfoInput().pin));
      }
      return;
    case Changed::other:
      break;
  }
  vane::log("controlTextDidChange: ignored");
}

}  // namespace talvane
