#pragma once

// The state of one enrolment conversation. The server's replies fill it; it makes the bodies of the
// requests. A body is a list of pairs NAME=VALUE, joined by "&". Texts that begin with "ERR " are
// errors; the user sees the server's errors unchanged. Main thread only.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/cleared.h"
#include "engine/soft_token_info.h"

namespace talvane {

class TaEnrolClient {
 public:
  /// What the last reply to a POST said.
  enum class Result : std::int32_t {
    get_info = 0,
    denied = 1,
    challenge = 2,
    error = 3,
    unknown = 4
  };
  using Questions = std::vector<std::string>;

  std::optional<Cleared<std::string>> post;  // the body under construction
  bool bMessage = false;                     // later lines continue the "MESSAGE" line
  std::string MESSAGE;
  bool bRedirectHttps = false;  // reserved; never set
  std::int64_t VERSION = 0;     // of the protocol; a reset keeps it
  bool bPASSWORD = false;       // the server wants a password
  bool bPASSCODE = false;       // the server wants a passcode
  bool bChallenge = false;      // the last reply was a challenge
  Result RESULT = Result::unknown;
  Cleared<std::string> SOFTTOKENURL;
  bool bUSERCREATEPIN = false;  // the user must choose a PIN
  bool bGETMBNUMBER = false;    // opens the same view, which has no field for it
  bool bENROL = false;          // the user must answer secret questions
  std::string PROMPT;
  std::int64_t UPPERCASE = 0;  // the PIN needs at least this many
  std::int64_t LOWERCASE = 0;
  Cleared<std::string> PIN;
  std::int64_t PINLENGTH = 0;  // exact, in UTF-16 units
  std::unique_ptr<SoftTokenInfo> SOFTTOKEN;
  std::optional<Questions> QUESTIONS1;
  std::optional<Questions> QUESTIONS2;
  std::optional<Questions> QUESTIONS3;  // nullopt if the server asks only two
  std::string QUESTION1;
  std::string QUESTION2;
  std::string QUESTION3;
  Cleared<std::string> ANSWER1;
  Cleared<std::string> ANSWER2;
  Cleared<std::string> ANSWER3;

  TaEnrolClient() { defaultValues(); }
  TaEnrolClient(const TaEnrolClient&) = delete;
  TaEnrolClient& operator=(const TaEnrolClient&) = delete;

  /// Resets everything but `VERSION`, on which `bPASSCODE` depends.
  void defaultValues();
  /// Clears the request, the token, the PIN and the answers.
  void clearSecrets();

  // Requests. Each returns an error text, or nullopt with the body in `post`.

  /// Adds a pair unchanged, without escapes.
  void addToPOST(std::string_view name, std::string_view value);
  std::optional<std::string> makeAuthPOST(std::string_view userid,
                                          std::optional<std::string_view> password,
                                          std::string_view passcode);
  std::optional<std::string> makeChallengeResponsePOST(std::string_view passcode);
  /// The final request. Checks the token through the engine, without storing it.
  std::optional<std::string> makeGetInfoResponsePOST();

  // Replies.

  /// One attribute line: name, value, and for "INPUT" what follows the value's first "=".
  struct Line {
    std::string_view attribute;
    std::string_view value;
    std::string_view parameter;
  };
  /// Returns nullopt to continue, or the error to stop with.
  using LineParser = std::optional<std::string> (TaEnrolClient::*)(const Line& line);
  /// The names of the two parsers: for the reply to the first GET, and for replies to POSTs.
  static constexpr std::string_view get_parser = "parseLineAuthGetResponse:";
  static constexpr std::string_view post_parser = "parseLineAuthPostResponse:";

  /// Processes a reply with one of the two parsers; `body` is null if there was none. Returns
  /// nullopt when the whole reply was processed. A body that is not UTF-8 counts as empty.
  std::optional<std::string> processEnrolResponse(const char* body, std::string_view parseline);
  std::optional<std::string> parseLineAuthGetResponse(const Line& line);
  std::optional<std::string> parseLineAuthPostResponse(const Line& line);
  /// The non-empty pieces between commas, without surrounding white space.
  static Questions parseQuestions(std::string_view text);

 private:
  std::optional<std::string> parseInput(const Line& line);
  bool parseText(const Line& line);
  std::optional<std::string> parseNumber(const Line& line, bool* known);
};

}  // namespace talvane
