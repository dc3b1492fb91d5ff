#pragma once

#include <stdexcept>
#include <string>

#include "cli/exit_codes.h"
#include "store/token_store.h"

namespace talvane {

/// Ends a command: one line for standard error, what happened and what to do, and the exit code.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& text) : std::runtime_error(text), code_(code) {}
  [[nodiscard]] ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

/// Where a refused name or seed came from; one on the command line is wrong usage.
enum class InputFrom : std::uint8_t { command_line, elsewhere };

/// The problem as the end of a command, with what to do here.
Failure failureOf(const Problem& problem, InputFrom from = InputFrom::elsewhere);

/// What keeps tokens from being read, with the command that ends it.
std::string wordsFor(const Obstacle& obstacle);

}  // namespace talvane
