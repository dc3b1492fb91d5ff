#pragma once

#include <stdexcept>
#include <string>

#include "cli/exit_codes.h"

namespace talvane {

/// Ends a command: one line for standard error, what happened and what to do, and the exit code.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& text) : std::runtime_error(text), code_(code) {}
  [[nodiscard]] ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

}  // namespace talvane
