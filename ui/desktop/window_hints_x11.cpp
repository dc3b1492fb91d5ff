#include <xcb/xcb.h>
#include <QGuiApplication>

#include <array>

#include "ui/desktop/window_hints.h"
#include "ui/desktop/xcb_atom.h"

namespace talvane {

// Extended Window Manager Hints: set _NET_WM_STATE before the window is mapped.
void keepOutOfTaskBars(QWidget& window) {
  auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  // Null on other platforms, even on some that claim to be X11.
  xcb_connection_t* display = x11 == nullptr ? nullptr : x11->connection();
  if (display == nullptr) return;
  const std::array<xcb_atom_t, 2> states{atomNamed(display, "_NET_WM_STATE_SKIP_TASKBAR"),
                                         atomNamed(display, "_NET_WM_STATE_SKIP_PAGER")};
  xcb_change_property(display, XCB_PROP_MODE_APPEND, static_cast<xcb_window_t>(window.winId()),
                      atomNamed(display, "_NET_WM_STATE"), XCB_ATOM_ATOM, 32, states.size(),
                      states.data());
}

}  // namespace talvane
