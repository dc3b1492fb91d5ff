#include "ui/desktop/system_shortcut.h"

#include <QtGlobal>

#include <functional>
#include <memory>
#include <utility>

#include "ui/desktop/global_shortcut.h"
#include "ui/desktop/grabbed_key.h"
#include "ui/desktop/shortcut_portal.h"

namespace talvane {

// A Wayland desktop shows grabbed keys to us only while a window of ours has the keyboard.
std::unique_ptr<GlobalShortcut> systemGlobalShortcut(std::function<void()> pressed) {
  if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
    return std::make_unique<ShortcutPortal>(std::move(pressed));
  }
  return std::make_unique<GrabbedKey>(std::move(pressed));
}

}  // namespace talvane
