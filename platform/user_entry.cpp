#include "platform/user_entry.h"

#include <pwd.h>
#include <sys/types.h>

#include <cerrno>
#include <cstddef>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace talvane {

int readUserEntry(uid_t user, std::optional<UserEntry>* entry) {
  constexpr std::size_t longest_entry = std::size_t{1} << 20;  // bytes
  entry->reset();
  std::vector<char> buffer(16384);
  passwd fields{};
  passwd* found = nullptr;
  int error = 0;
  while ((error = getpwuid_r(user, &fields, buffer.data(), buffer.size(), &found)) == ERANGE &&
         buffer.size() < longest_entry) {
    buffer.resize(buffer.size() * 2);
  }
  if (error == 0 && found != nullptr) *entry = UserEntry{fields.pw_name, fields.pw_dir};
  return error;
}

std::string loginNameProblem(uid_t user, int error) {
  const std::string number = std::to_string(user);
  if (error == 0) return "user " + number + " has no login name in the user database";
  return "user " + number + " in the user database: " + std::generic_category().message(error);
}

}  // namespace talvane
