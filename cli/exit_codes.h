#pragma once

namespace talvane {

/// What the command line ends with; documented in its manual page.
enum ExitCode : int {
  exit_ok = 0,
  exit_failed = 1,
  exit_usage = 2,
  exit_no_such_token = 3,
  exit_keychain = 4,  // unavailable, locked, or failing
};

}  // namespace talvane
