#pragma once

// A key combination for the whole desktop, as a setting writes it: "Ctrl+Alt+T".

#include <optional>
#include <string>
#include <string_view>

namespace talvane {

struct Shortcut {
  bool ctrl = false;
  bool alt = false;
  bool shift = false;
  bool super = false;
  /// "A" to "Z", "0" to "9", "F1" to "F24", or one of "Space", "Return", "Tab", "Insert", "Delete",
  /// "Home", "End", "PageUp", "PageDown", "Left", "Right", "Up", "Down", "Pause" and "Print".
  std::string key;

  friend bool operator==(const Shortcut&, const Shortcut&) = default;
};

/// The text that stands for no combination.
inline constexpr std::string_view no_shortcut = "none";

/// Whether other programs can still be used with it: all keys but "F1" to "F24" and "Pause" need
/// Ctrl, Alt or Super.
bool isUsable(const Shortcut& shortcut);

/// The combination that the text names, in any case; nullopt if it names none that is usable.
std::optional<Shortcut> shortcutIn(std::string_view text);

/// As "Ctrl+Alt+Shift+Super+T".
std::string textOf(const Shortcut& shortcut);

}  // namespace talvane
