#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "cli/exit_codes.h"
#include "store/problem.h"
#include "store/stored_tokens.h"

namespace talvane {

/// Ends a command: the exit code, and one line for standard error that says what happened and what
/// to do.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& text) : std::runtime_error(text), code_(code) {}
  [[nodiscard]] ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

/// Where a name or seed came from. A bad one on the command line is wrong usage.
enum class InputFrom : std::uint8_t { command_line, elsewhere };

/// The Failure for a problem, with what to do on the command line.
Failure failureOf(const Problem& problem, InputFrom from = InputFrom::elsewhere);

/// What hides tokens, how to repair it, and the command that removes it.
std::string wordsFor(const Obstacle& obstacle);

}  // namespace talvane
