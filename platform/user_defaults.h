#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace talvane {

/// Small values that the program stores for one user (Linux: a key file in the config folder;
/// macOS: CFPreferences). Main thread only.
class UserDefaults {
 public:
  enum class Found : std::uint8_t {
    yes,
    no,
    unreadable  // values exist but cannot be read: do not decide again what they may hold
  };
  virtual ~UserDefaults() = default;

  /// Sets `*value` only if it returns `yes`.
  [[nodiscard]] virtual Found string(const std::string& key, std::string* value) = 0;
  /// Returns false if it stored nothing; old values are then unchanged.
  [[nodiscard]] virtual bool setString(const std::string& key, const std::string& value) = 0;
  /// The same for several values, in one step; nullopt removes one.
  using Changes = std::map<std::string, std::optional<std::string>>;
  [[nodiscard]] virtual bool change(const Changes& changes) = 0;
};

/// The system's own defaults of the current user.
std::unique_ptr<UserDefaults> systemUserDefaults();

}  // namespace talvane
