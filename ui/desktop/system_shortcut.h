#pragma once

#include <functional>
#include <memory>

#include "ui/desktop/global_shortcut.h"

namespace talvane {

/// The desktop's own way, which calls `pressed` from the event loop: a grabbed key under X11, the
/// GlobalShortcuts portal under Wayland, none on macOS.
std::unique_ptr<GlobalShortcut> systemGlobalShortcut(std::function<void()> pressed);

}  // namespace talvane
