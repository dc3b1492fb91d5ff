#pragma once

// The other side of the enrolment conversation, without a network. For trials and tests, not for
// production: it keeps everything in memory, and has no rate limits and no audit.

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "demo/users.h"

namespace talvane::demo {

/// What the requested address says about its site.
struct Site {
  bool asks_password = false;
  bool demands_https = false;
  int version = 7200;  // of the protocol
};

class Enrolment {
 public:
  /// `clock` returns seconds since the Unix epoch.
  Enrolment(std::map<std::string, User> users, std::function<std::int64_t()> clock);

  /// The reply to the first request. `*session` gets the new session's name.
  std::string begin(const Site& site, bool is_https, std::string* session);
  /// The reply to a posted body within a session.
  std::string post(const std::string& session, std::string_view body);
  /// Whether the code is a current passcode of the user's token; accepts one step early or late.
  bool verify(const std::string& user, std::string_view code);

 private:
  using Fields = std::vector<std::pair<std::string, std::string>>;
  enum class Stage : std::uint8_t { sign_in, challenge, accepted, complete };
  struct Session {
    Site site;
    Stage stage = Stage::sign_in;
    const User* user = nullptr;
    int challenges_left = 0;
    std::string challenge;
    std::string nonce;
    std::string seed;
  };
  struct Token {
    std::string seed;  // 16 characters
    int period = 30;
  };

  std::string signIn(Session& session, const Fields& fields);
  std::string answerChallenge(Session& session, const Fields& fields);
  std::string challenge(Session& session);
  std::string accept(Session& session);
  std::string complete(Session& session, const Fields& fields);
  [[nodiscard]] std::optional<std::string> fullSeed(const Session& session,
                                                    std::string_view check_code) const;
  [[nodiscard]] bool isPasscode(std::string_view seed, int period, std::string_view code) const;

  std::mutex mutex_;
  std::map<std::string, User> users_;
  std::function<std::int64_t()> clock_;
  std::map<std::string, Session> sessions_;
  std::map<std::string, Token> tokens_;  // by user
};

}  // namespace talvane::demo
