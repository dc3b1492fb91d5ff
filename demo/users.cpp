#include "demo/users.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>

namespace talvane::demo {
namespace {

template <typename Number>
bool readNumber(const std::string& text, Number* number) {
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, *number);
  return error == std::errc() && rest == end;
}

bool readOption(const std::string& option, User* user) {
  const std::size_t equals = option.find('=');
  const std::string name = option.substr(0, equals);
  const std::string value = equals == std::string::npos ? "" : option.substr(equals + 1);
  if (name == "password") user->password = value;
  if (name == "passcode") user->passcode = value;
  if (name == "message") {
    user->message = value;
    std::replace(user->message.begin(), user->message.end(), '_', ' ');
  }
  if (name == "password" || name == "passcode" || name == "message") return !value.empty();
  if (name == "denied") return user->denied = true;
  if (name == "earlier") return user->earlier_answers = true;
  if (name == "challenges") return readNumber(value, &user->challenges);
  if (name == "pin") return readNumber(value, &user->pin_length);
  if (name == "upper") return readNumber(value, &user->upper_case);
  if (name == "lower") return readNumber(value, &user->lower_case);
  if (name == "questions") {
    return readNumber(value, &user->questions) && (user->questions == 2 || user->questions == 3);
  }
  if (name == "seed") {
    return readNumber(value, &user->seed_length) &&
           (user->seed_length == 13 || user->seed_length == 16);
  }
  if (name == "period") {
    return readNumber(value, &user->period) && (user->period == 30 || user->period == 60);
  }
  return false;
}

}  // namespace

std::optional<std::map<std::string, User>> readUsers(std::string_view text, std::string* error) {
  std::map<std::string, User> users;
  std::istringstream lines{std::string(text)};
  std::string line;
  for (int number = 1; std::getline(lines, line); ++number) {
    std::istringstream words(line.substr(0, line.find('#')));
    User user;
    if (!(words >> user.name)) continue;
    std::string option;
    while (words >> option) {
      if (readOption(option, &user)) continue;
      *error = "line " + std::to_string(number) + ": unknown option \"" + option + "\"";
      return std::nullopt;
    }
    users[user.name] = user;
  }
  return users;
}

}  // namespace talvane::demo
