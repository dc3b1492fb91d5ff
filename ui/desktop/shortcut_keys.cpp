#include "ui/desktop/shortcut_keys.h"

#include <QKeyEvent>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <string>

#include "platform/shortcut.h"

namespace talvane {
namespace {

struct NamedKey {
  const char* name;
  Qt::Key key;
  std::uint32_t keysym;
  const char* keysym_name;
};

constexpr std::array<NamedKey, 15> named_keys = {
    {{"Space", Qt::Key_Space, 0x20, "space"},
     {"Return", Qt::Key_Return, 0xff0d, "Return"},
     {"Tab", Qt::Key_Tab, 0xff09, "Tab"},
     {"Insert", Qt::Key_Insert, 0xff63, "Insert"},
     {"Delete", Qt::Key_Delete, 0xffff, "Delete"},
     {"Home", Qt::Key_Home, 0xff50, "Home"},
     {"End", Qt::Key_End, 0xff57, "End"},
     {"PageUp", Qt::Key_PageUp, 0xff55, "Page_Up"},
     {"PageDown", Qt::Key_PageDown, 0xff56, "Page_Down"},
     {"Left", Qt::Key_Left, 0xff51, "Left"},
     {"Right", Qt::Key_Right, 0xff53, "Right"},
     {"Up", Qt::Key_Up, 0xff52, "Up"},
     {"Down", Qt::Key_Down, 0xff54, "Down"},
     {"Pause", Qt::Key_Pause, 0xff13, "Pause"},
     {"Print", Qt::Key_Print, 0xff61, "Print"}}};

constexpr std::uint32_t keysym_f1 = 0xffbe;

const NamedKey* keyNamed(const std::string& name) {
  const auto* const found = std::find_if(named_keys.begin(), named_keys.end(),
                                         [&](const NamedKey& key) { return name == key.name; });
  return found == named_keys.end() ? nullptr : found;
}

std::string nameOf(int key) {
  if ((key >= Qt::Key_A && key <= Qt::Key_Z) || (key >= Qt::Key_0 && key <= Qt::Key_9)) {
    return {static_cast<char>(key)};
  }
  if (key >= Qt::Key_F1 && key <= Qt::Key_F24) {
    return 'F' + std::to_string(key - Qt::Key_F1 + 1);
  }
  if (key == Qt::Key_Backtab) return "Tab";  // with Shift
  const auto* const found = std::find_if(named_keys.begin(), named_keys.end(),
                                         [&](const NamedKey& named) { return named.key == key; });
  return found == named_keys.end() ? std::string() : std::string(found->name);
}

}  // namespace

Shortcut shortcutOf(const QKeyEvent& event) {
  const Qt::KeyboardModifiers with = event.modifiers();
  Shortcut shortcut;
  shortcut.ctrl = with.testFlag(Qt::ControlModifier);
  shortcut.alt = with.testFlag(Qt::AltModifier);
  shortcut.shift = with.testFlag(Qt::ShiftModifier);
  shortcut.super = with.testFlag(Qt::MetaModifier);
  // The numeric keypad's keys are others.
  if (!with.testFlag(Qt::KeypadModifier)) shortcut.key = nameOf(event.key());
  return shortcut;
}

std::uint32_t keysymOf(const std::string& key) {
  if (const NamedKey* named = keyNamed(key)) return named->keysym;
  if (key.size() > 1) return keysym_f1 + static_cast<std::uint32_t>(std::stoi(key.substr(1))) - 1;
  // Those of Latin letters and digits are their characters.
  return static_cast<std::uint32_t>(std::tolower(static_cast<unsigned char>(key[0])));
}

std::string portalTrigger(const Shortcut& shortcut) {
  std::string trigger;
  if (shortcut.ctrl) trigger += "CTRL+";
  if (shortcut.alt) trigger += "ALT+";
  if (shortcut.shift) trigger += "SHIFT+";
  if (shortcut.super) trigger += "LOGO+";
  if (const NamedKey* named = keyNamed(shortcut.key)) return trigger + named->keysym_name;
  if (shortcut.key.size() > 1) return trigger + shortcut.key;
  return trigger + static_cast<char>(std::tolower(static_cast<unsigned char>(shortcut.key[0])));
}

}  // namespace talvane
