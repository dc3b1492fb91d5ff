#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace talvane {

/// What the password database says of a user.
struct UserEntry {
  std::string name;  // the login name
  std::string home;  // the home folder
};

/// Looks the user up; nullopt when the database does not have that one. 0, or the errno of
/// getpwuid_r(3), and nullopt, when it does not answer.
[[nodiscard]] int readUserEntry(uid_t user, std::optional<UserEntry>* entry);

}  // namespace talvane
