#pragma once

#include <string_view>

#include "platform/user_defaults.h"

namespace talvane {

/// At which server each enrolled token was enrolled, by the name it was created with. A record has
/// no room for it, so it is a user default ("EnrolledAt"). What cannot be read or was never noted
/// counts as unknown. Hold the store's lock while changing it.
class EnrolledAt {
 public:
  /// Borrows the defaults; null: nothing is known.
  explicit EnrolledAt(UserDefaults* defaults) : defaults_(defaults) {}

  /// Whether the token of this name is known to come from the server.
  [[nodiscard]] bool isFrom(std::string_view server, std::string_view name) const;

  /// Notes the token's server, in place of an earlier one. A failure is silent.
  void note(std::string_view server, std::string_view name);
  /// Returns false if the name is noted and stays so.
  [[nodiscard]] bool forget(std::string_view name);

 private:
  UserDefaults* defaults_;
};

}  // namespace talvane
