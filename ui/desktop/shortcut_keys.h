#pragma once

#include <QKeyEvent>

#include <cstdint>
#include <string>

#include "platform/shortcut.h"

namespace talvane {

/// The combination that was pressed; its key is empty if it is a modifier, or none that a shortcut
/// may have.
Shortcut shortcutOf(const QKeyEvent& event);

/// The X11 keysym of a shortcut's key, without Shift (keysymdef.h).
std::uint32_t keysymOf(const std::string& key);

/// As the GlobalShortcuts portal takes it: "CTRL+ALT+t" (Shortcuts specification of
/// freedesktop.org; keys by their keysyms' names).
std::string portalTrigger(const Shortcut& shortcut);

}  // namespace talvane
