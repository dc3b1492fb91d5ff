#include <xcb/xcb.h>
#include <QByteArray>
#include <QGuiApplication>
#include <QRegion>
#include <QWindow>

#include <array>
#include <cstdint>
#include <cstring>

#include "ui/desktop/window_hints.h"
#include "ui/desktop/xcb_atom.h"

namespace talvane {
namespace {

QByteArray property(xcb_connection_t* display, xcb_window_t window, const char* name,
                    xcb_atom_t type) {
  constexpr std::uint32_t longest = 64;
  const XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
      display, xcb_get_property(display, 0, window, atomNamed(display, name), type, 0, longest),
      nullptr));
  if (reply == nullptr) return {};
  return {static_cast<const char*>(xcb_get_property_value(reply.get())),
          xcb_get_property_value_length(reply.get())};
}

}  // namespace

// Compositors built with wlroots do, unless a window bypasses them. For all of them, the window
// that _NET_SUPPORTING_WM_CHECK names has this name.
bool placesWindowsItself() {
  xcb_connection_t* display = x11Connection();
  if (display == nullptr) return false;
  const xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(display));
  if (screens.rem == 0) return false;
  const QByteArray window =
      property(display, screens.data->root, "_NET_SUPPORTING_WM_CHECK", XCB_ATOM_WINDOW);
  xcb_window_t checked = XCB_WINDOW_NONE;
  if (window.size() != sizeof checked) return false;
  std::memcpy(&checked, window.constData(), sizeof checked);
  return property(display, checked, "_NET_WM_NAME", atomNamed(display, "UTF8_STRING")) ==
         "wlroots wm";
}

// Extended Window Manager Hints: set _NET_WM_STATE before the window is mapped.
void keepOutOfTaskBars(QWidget& window) {
  xcb_connection_t* display = x11Connection();
  if (display == nullptr) return;
  const std::array<xcb_atom_t, 2> states{atomNamed(display, "_NET_WM_STATE_SKIP_TASKBAR"),
                                         atomNamed(display, "_NET_WM_STATE_SKIP_PAGER")};
  xcb_change_property(display, XCB_PROP_MODE_APPEND, static_cast<xcb_window_t>(window.winId()),
                      atomNamed(display, "_NET_WM_STATE"), XCB_ATOM_ATOM, 32, states.size(),
                      states.data());
}

// Shape Extension.
void showOnly(QWidget& window, const QRegion& part) {
  if (QGuiApplication::platformName() != QLatin1String("xcb")) return;
  window.winId();
  window.windowHandle()->setMask(part);
}

}  // namespace talvane
