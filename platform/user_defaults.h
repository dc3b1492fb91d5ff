#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace talvane {

/// Small values that the program remembers for one user (Linux: a key file in the config folder;
/// macOS: CFPreferences). Main thread only.
class UserDefaults {
 public:
  enum class Found : std::uint8_t {
    yes,
    no,
    unreadable  // the values are there but cannot be read: do not decide anew what they may hold
  };
  virtual ~UserDefaults() = default;

  /// `*value` is set only with `yes`.
  [[nodiscard]] virtual Found string(const std::string& key, std::string* value) = 0;
  /// False: not stored, and what was there is unchanged.
  [[nodiscard]] virtual bool setString(const std::string& key, const std::string& value) = 0;
};

/// The system's own defaults of the current user.
std::unique_ptr<UserDefaults> systemUserDefaults();

}  // namespace talvane
