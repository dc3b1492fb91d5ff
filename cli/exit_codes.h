#pragma once

namespace talvane {

/// Exit codes of the command line. The manual page documents them.
enum ExitCode : int {
  exit_ok = 0,
  exit_failed = 1,
  exit_usage = 2,
  exit_no_such_token = 3,
  exit_keychain = 4,  // unavailable, locked, or failing
};

}  // namespace talvane
