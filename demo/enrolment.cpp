#include "demo/enrolment.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "demo/users.h"
#include "engine/base32.h"
#include "engine/text.h"
#include "engine/vane.h"

namespace talvane::demo {
namespace {

constexpr std::size_t most_sessions = 1000;
constexpr std::uint32_t low_20_bits = 0xFFFFF;
constexpr std::array<const char*, 4> questions{"First pet?", "First school?", "Favourite colour?",
                                               "Street you grew up in?"};

std::string randomText(std::size_t length) {
  constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";
  std::random_device device;
  std::string text;
  for (std::size_t i = 0; i < length; ++i) text += alphabet[device() % alphabet.size()];
  return text;
}

std::string reply(std::initializer_list<std::string> lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\r\n";
  return text;
}

std::string denial(const std::string& message) {
  std::string text = reply({"RESULT:OK,DENIED"});
  if (!message.empty()) text += "MESSAGE:" + message + "\r\n";
  return text;
}

std::string fieldOf(const std::vector<std::pair<std::string, std::string>>& fields,
                    const std::string& name) {
  const auto found = std::find_if(fields.begin(), fields.end(),
                                  [&](const auto& field) { return field.first == name; });
  return found == fields.end() ? std::string() : found->second;
}

bool pinIsGood(const User& user, const std::string& pin) {
  const auto count = [&](int (*is)(int)) {
    return static_cast<std::size_t>(std::count_if(pin.begin(), pin.end(), [is](char letter) {
      return is(static_cast<unsigned char>(letter)) != 0;
    }));
  };
  return pin.size() == user.pin_length && count(std::isupper) >= user.upper_case &&
         count(std::islower) >= user.lower_case;
}

}  // namespace

Enrolment::Enrolment(std::map<std::string, User> users, std::function<std::int64_t()> clock)
    : users_(std::move(users)), clock_(std::move(clock)) {}

std::string Enrolment::begin(const Site& site, bool is_https, std::string* session) {
  const std::lock_guard guard(mutex_);
  if (site.demands_https && !is_https) return reply({"RESULT:REDIRECTHTTPS"});
  if (sessions_.size() >= most_sessions) sessions_.clear();
  *session = randomText(26);
  sessions_[*session].site = site;
  return reply({"# Talvane demo enrolment server", "RESULT:OK",
                fmt::format("VERSION:{}", site.version),
                site.asks_password ? "PASSWORD:True" : "PASSWORD:False"});
}

std::string Enrolment::post(const std::string& session, std::string_view body) {
  const std::lock_guard guard(mutex_);
  const auto found = sessions_.find(session);
  if (found == sessions_.end()) return reply({"RESULT:ERR No session; start again"});
  Fields fields;
  for (const std::string_view pair : split(body, '&')) {
    const std::size_t equals = std::min(pair.find('='), pair.size());
    fields.emplace_back(pair.substr(0, equals),
                        equals < pair.size() ? pair.substr(equals + 1) : std::string_view());
  }
  switch (found->second.stage) {
    case Stage::sign_in:
      return signIn(found->second, fields);
    case Stage::challenge:
      return answerChallenge(found->second, fields);
    case Stage::accepted:
      return complete(found->second, fields);
    case Stage::complete:
      break;
  }
  return reply({"RESULT:ERR The enrolment is complete"});
}

std::string Enrolment::signIn(Session& session, const Fields& fields) {
  const auto found = users_.find(fieldOf(fields, "userid"));
  if (found == users_.end()) return denial("");
  const User& user = found->second;
  if (session.site.asks_password && user.password &&
      fieldOf(fields, "PASSWORD") != *user.password) {
    return denial("Wrong password");
  }
  const bool wants_passcode = session.site.version < 7200;
  if (wants_passcode && user.passcode && fieldOf(fields, "PASSCODE") != *user.passcode) {
    return denial("Wrong passcode");
  }
  if (user.denied) return denial(user.message);
  session.user = &user;
  session.challenges_left = user.challenges;
  return session.challenges_left > 0 ? challenge(session) : accept(session);
}

std::string Enrolment::challenge(Session& session) {
  session.stage = Stage::challenge;
  --session.challenges_left;
  session.challenge = randomText(4);
  session.nonce = randomText(8);
  return reply({"RESULT:OK,CHALLENGE", "PASSCODE:True",
                "PROMPT:Enter the letters " + session.challenge, "INPUT:STATE=" + session.nonce});
}

std::string Enrolment::answerChallenge(Session& session, const Fields& fields) {
  if (fieldOf(fields, "STATE") != session.nonce) {
    return reply({"RESULT:ERR The input fields were not sent back"});
  }
  if (fieldOf(fields, "PASSCODE") != session.challenge) {
    session.stage = Stage::sign_in;
    return denial("Wrong answer");
  }
  return session.challenges_left > 0 ? challenge(session) : accept(session);
}

std::string Enrolment::accept(Session& session) {
  const User& user = *session.user;
  session.stage = Stage::accepted;
  session.nonce = randomText(8);
  session.seed = randomText(user.seed_length);
  std::string text = reply({"RESULT:OK,GETINFO", "INPUT:STATE=" + session.nonce});
  if (user.pin_length > 0) {
    text += reply({"INPUT:USERCREATEPIN=True", fmt::format("PINLENGTH:{}", user.pin_length)});
    text +=
        user.upper_case > 0 ? fmt::format("UPPERCASE:{}\r\n", user.upper_case) : "UPPERCASE:\r\n";
    text +=
        user.lower_case > 0 ? fmt::format("LOWERCASE:{}\r\n", user.lower_case) : "LOWERCASE:\r\n";
  }
  if (user.questions > 0) {
    const std::string list =
        fmt::format("{}, {}, {}, {}", questions[0], questions[1], questions[2], questions[3]);
    text += reply({"INPUT:ENROL=True", "QUESTIONS1:" + list, "QUESTIONS2:" + list,
                   "QUESTIONS3:" + (user.questions == 3 ? list : "")});
    if (user.earlier_answers) {
      text += fmt::format("QUESTION1:{}\r\nANSWER1:Rex\r\nQUESTION2:{}\r\nANSWER2:blue\r\n",
                          questions[3], questions[2]);
    }
  }
  text += fmt::format("INPUT:SOFTTOKENURL=otpauth://totp/Demo%20{}?secret={}&period={}\r\n",
                      user.name, session.seed, user.period);
  return text;
}

std::string Enrolment::complete(Session& session, const Fields& fields) {
  const User& user = *session.user;
  if (fieldOf(fields, "STATE") != session.nonce) {
    return reply({"RESULT:ERR The input fields were not sent back"});
  }
  if (user.pin_length > 0 && !pinIsGood(user, fieldOf(fields, "PIN"))) {
    return reply({"RESULT:ERR The PIN breaks the rules"});
  }
  for (int i = 1; i <= user.questions; ++i) {
    const std::string number = std::to_string(i);
    if (fieldOf(fields, "question" + number).empty() ||
        fieldOf(fields, "answer" + number).empty()) {
      return reply({"RESULT:ERR An answer is missing"});
    }
  }
  const auto seed = fullSeed(session, fieldOf(fields, "CHECKCODE"));
  if (!seed) return reply({"RESULT:ERR The check code is wrong"});
  session.stage = Stage::complete;
  tokens_[user.name] = {*seed, user.period};
  return reply({"RESULT:OK,COMPLETE"});
}

std::optional<std::string> Enrolment::fullSeed(const Session& session,
                                               std::string_view check_code) const {
  const int period = session.user->period;
  if (session.user->seed_length == 16) {
    if (!isPasscode(session.seed, period, check_code)) return std::nullopt;
    return session.seed;
  }
  // The response code: the passcode's 20 bits, then the 20 bits that complete the seed.
  std::array<std::uint8_t, 5> code{};
  std::array<std::uint8_t, 10> bytes{};
  if (base32_decode(check_code, code) != code.size() ||
      base32_decode(session.seed + "AAA", bytes) != bytes.size()) {
    return std::nullopt;
  }
  std::uint64_t bits = 0;
  for (const std::uint8_t byte : code) bits = bits << 8U | byte;
  const auto suffix = static_cast<std::uint32_t>(bits & low_20_bits);
  const auto passcode = static_cast<std::uint32_t>(bits >> 20U);
  bytes[7] = static_cast<std::uint8_t>((bytes[7] & 0xF0U) | suffix >> 16U);
  bytes[8] = static_cast<std::uint8_t>(suffix >> 8U);
  bytes[9] = static_cast<std::uint8_t>(suffix);
  std::string full = base32_encode(bytes);
  if (!isPasscode(full, period, fmt::format("{:06}", passcode))) return std::nullopt;
  return full;
}

bool Enrolment::isPasscode(std::string_view seed, int period, std::string_view code) const {
  const std::int64_t counter = clock_() / period;
  for (const std::int64_t step : {counter, counter - 1, counter + 1}) {
    if (vane::GeneratePasscode(seed, step) == code) return true;
  }
  return false;
}

bool Enrolment::verify(const std::string& user, std::string_view code) {
  const std::lock_guard guard(mutex_);
  const auto found = tokens_.find(user);
  return found != tokens_.end() && isPasscode(found->second.seed, found->second.period, code);
}

}  // namespace talvane::demo
