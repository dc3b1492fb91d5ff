#pragma once

#include <xcb/xcb.h>
#include <QByteArray>
#include <QGuiApplication>
#include <QHash>

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace talvane {

/// Memory that the X library has allocated.
struct XcbRelease {
  void operator()(void* memory) const { std::free(memory); }
};
template <typename T>
using XcbReply = std::unique_ptr<T, XcbRelease>;

/// The program's connection to the display; null if the toolkit does not use X11.
inline xcb_connection_t* x11Connection() {
  auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  return x11 == nullptr ? nullptr : x11->connection();
}

/// XCB_ATOM_NONE if the display does not answer. Asks only once for each name. Main thread.
inline xcb_atom_t atomNamed(xcb_connection_t* display, const QByteArray& name) {
  static QHash<QByteArray, xcb_atom_t> known;
  if (const auto found = known.constFind(name); found != known.cend()) return *found;
  const XcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
      display,
      xcb_intern_atom(display, 0, static_cast<std::uint16_t>(name.size()), name.constData()),
      nullptr));
  if (reply == nullptr) return XCB_ATOM_NONE;
  return *known.insert(name, reply->atom);
}

/// The window that owns the selection, as a manager of the desktop does; XCB_WINDOW_NONE: nobody.
inline xcb_window_t selectionOwner(xcb_connection_t* display, const QByteArray& selection) {
  const XcbReply<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
      display, xcb_get_selection_owner(display, atomNamed(display, selection)), nullptr));
  return reply == nullptr ? xcb_window_t{XCB_WINDOW_NONE} : reply->owner;
}

/// The owner of the status area for embedded windows (System Tray Protocol of freedesktop.org).
inline xcb_window_t embeddingTray(xcb_connection_t* display) {
  return selectionOwner(display, "_NET_SYSTEM_TRAY_S0");
}

}  // namespace talvane
