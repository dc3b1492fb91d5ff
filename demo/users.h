#pragma once

// Who may enrol at the demo server, and what it asks of them: one user per line, a name and options
// separated by spaces. "#" begins a comment.

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace talvane::demo {

struct User {
  std::string name;
  std::optional<std::string> password;  // password=TEXT; without it, any
  std::optional<std::string> passcode;  // passcode=TEXT
  int challenges = 0;                   // challenges=N; each names its answer
  bool denied = false;                  // denied
  std::string message;                  // message=TEXT, "_" for a space; the reason
  std::size_t pin_length = 0;           // pin=LENGTH; 0 for none
  std::size_t upper_case = 0;           // upper=N letters of the PIN
  std::size_t lower_case = 0;           // lower=N
  int questions = 0;                    // questions=2 or 3
  bool earlier_answers = false;         // earlier
  std::size_t seed_length = 16;         // seed=13 or 16
  int period = 30;                      // period=30 or 60
};

/// Users by name. On error, returns nullopt and sets `*error` to the problem and its line.
std::optional<std::map<std::string, User>> readUsers(std::string_view text, std::string* error);

}  // namespace talvane::demo
