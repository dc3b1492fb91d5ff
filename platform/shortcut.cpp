#include "platform/shortcut.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/text.h"

namespace talvane {
namespace {

constexpr std::array<std::string_view, 15> named_keys = {
    "Space",    "Return", "Tab",   "Insert", "Delete", "Home",  "End",  "PageUp",
    "PageDown", "Left",   "Right", "Up",     "Down",   "Pause", "Print"};

// The key as we write it; empty if it is unknown.
std::string keyNamed(std::string_view text) {
  std::string upper = upperCase(text);
  if (upper.size() == 1 &&
      ((upper[0] >= 'A' && upper[0] <= 'Z') || (upper[0] >= '0' && upper[0] <= '9'))) {
    return upper;
  }
  for (int number = 1; number <= 24; ++number) {
    std::string name = 'F' + std::to_string(number);
    if (upper == name) return name;
  }
  const auto found = std::find_if(named_keys.begin(), named_keys.end(),
                                  [&](std::string_view name) { return upperCase(name) == upper; });
  return found == named_keys.end() ? std::string() : std::string(*found);
}

bool* modifierNamed(std::string_view text, Shortcut* shortcut) {
  const std::string lower = lowerCase(text);
  if (lower == "ctrl" || lower == "control") return &shortcut->ctrl;
  if (lower == "alt") return &shortcut->alt;
  if (lower == "shift") return &shortcut->shift;
  if (lower == "super" || lower == "meta" || lower == "win") return &shortcut->super;
  return nullptr;
}

}  // namespace

bool isUsable(const Shortcut& shortcut) {
  const bool types = (shortcut.key.size() < 2 || shortcut.key[0] != 'F') && shortcut.key != "Pause";
  return !shortcut.key.empty() && (!types || shortcut.ctrl || shortcut.alt || shortcut.super);
}

std::optional<Shortcut> shortcutIn(std::string_view text) {
  Shortcut shortcut;
  std::vector<std::string_view> names = split(text, '+');
  shortcut.key = keyNamed(trimmed(names.back()));
  names.pop_back();
  for (const std::string_view name : names) {
    bool* modifier = modifierNamed(trimmed(name), &shortcut);
    if (modifier == nullptr || *modifier) return std::nullopt;
    *modifier = true;
  }
  if (!isUsable(shortcut)) return std::nullopt;
  return shortcut;
}

std::string textOf(const Shortcut& shortcut) {
  std::string text;
  if (shortcut.ctrl) text += "Ctrl+";
  if (shortcut.alt) text += "Alt+";
  if (shortcut.shift) text += "Shift+";
  if (shortcut.super) text += "Super+";
  return text + shortcut.key;
}

}  // namespace talvane
