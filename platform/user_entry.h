#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace talvane {

/// A user's entry in the password database.
struct UserEntry {
  std::string name;  // the login name
  std::string home;  // the home folder
};

/// Looks the user up. Returns 0, with nullopt in `*entry` for an unknown user; or the errno of
/// getpwuid_r(3), with nullopt, if the database does not answer.
[[nodiscard]] int readUserEntry(uid_t user, std::optional<UserEntry>* entry);

/// Why the user has no login name, for a sentence. `error`: what `readUserEntry` returned.
[[nodiscard]] std::string loginNameProblem(uid_t user, int error);

}  // namespace talvane
