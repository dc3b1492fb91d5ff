#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "engine/cleared.h"
#include "engine/soft_token_info.h"
#include "engine/text.h"
#include "engine/vane.h"
#include "enrol/percent_escapes.h"
#include "enrol/ta_enrol_client.h"

namespace talvane {
namespace {

constexpr const char* expecting_post_data = "ERR Expecting POST data";
constexpr std::size_t response_length = 8;

// The code that proves possession: the response for a 13-character seed, otherwise the current
// passcode.
std::string checkCode(const SoftTokenInfo& token, const std::optional<std::string>& response) {
  if (response && utf16Length(*response) == response_length) return *response;
  const std::int64_t now = vane::interface() != nullptr ? vane::interface()->CurrentTime() : 0;
  const auto counter = static_cast<std::int32_t>(token.counterAt(now));
  const std::string_view seed = token.seed32 ? token.seed32->get() : std::string_view();
  const auto passcode = vane::GeneratePasscode(seed, counter);
  vane::log("TaEnrolClient: MakeGetInfoResponsePOST: first passcode: {}", orNil(passcode));
  return passcode.value_or("");
}

}  // namespace

void TaEnrolClient::clearSecrets() {
  for (auto* secret : {&SOFTTOKENURL, &PIN, &ANSWER1, &ANSWER2, &ANSWER3}) secret->clear();
  SOFTTOKEN.reset();
  post.reset();
}

void TaEnrolClient::defaultValues() {
  vane::log("TaEnrolClient: defaultValues");
  const std::int64_t version = VERSION;
  clearSecrets();
  bMessage = false;
  MESSAGE.clear();
  bRedirectHttps = false;
  bPASSWORD = false;
  bPASSCODE = version < 7200;
  bChallenge = false;
  RESULT = Result::unknown;
  bUSERCREATEPIN = false;
  bGETMBNUMBER = false;
  bENROL = false;
  PROMPT.clear();
  UPPERCASE = 0;
  LOWERCASE = 0;
  PINLENGTH = 0;
  QUESTIONS1.reset();
  QUESTIONS2.reset();
  QUESTIONS3.reset();
  for (std::string* text : {&QUESTION1, &QUESTION2, &QUESTION3}) text->clear();
}

void TaEnrolClient::addToPOST(std::string_view name, std::string_view value) {
  if (post) {
    post->append(std::string_view("&"));
  } else {
    post.emplace();
  }
  for (const std::string_view piece : {name, std::string_view("="), value}) post->append(piece);
}

std::optional<std::string> TaEnrolClient::makeAuthPOST(std::string_view userid,
                                                       std::optional<std::string_view> password,
                                                       std::string_view passcode) {
  post.reset();
  if (!password && bPASSWORD) return "ERR Need password";
  addToPOST("userid", userid);
  if (password) addToPOST("PASSWORD", *password);
  addToPOST("PASSCODE", passcode);
  return std::nullopt;
}

std::optional<std::string> TaEnrolClient::makeChallengeResponsePOST(std::string_view passcode) {
  if (!post || post->get().empty()) return expecting_post_data;
  addToPOST("PASSCODE", passcode);
  return std::nullopt;
}

std::optional<std::string> TaEnrolClient::makeGetInfoResponsePOST() {
  vane::log("TaEnrolClient: MakeGetInfoResponsePOST: begin  (POST currently {} )", orNil(post));
  if (!post || post->get().empty()) return expecting_post_data;
  std::optional<std::string> response = "";
  if (SOFTTOKEN == nullptr || vane::NewToken(*SOFTTOKEN, &response, nullptr, true)) {
    return "ERR NewToken failed";
  }
  addToPOST("CHECKCODE", checkCode(*SOFTTOKEN, response));
  if (bUSERCREATEPIN) addToPOST("PIN", PIN.get());
  if (bENROL) {
    addToPOST("question1", percentEscaped(QUESTION1).get());
    addToPOST("answer1", percentEscaped(ANSWER1.get()).get());
    addToPOST("question2", percentEscaped(QUESTION2).get());
    addToPOST("answer2", percentEscaped(ANSWER2.get()).get());
    if (QUESTIONS3) {
      addToPOST("question3", percentEscaped(QUESTION3).get());
      addToPOST("answer3", percentEscaped(ANSWER3.get()).get());
    }
  }
  vane::log("TaEnrolClient: MakeGetInfoResponsePOST: end OK");
  return std::nullopt;
}

}  // namespace talvane
