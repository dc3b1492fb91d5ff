#pragma once

#include <xcb/xcb.h>
#include <QByteArray>
#include <QGuiApplication>

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

inline xcb_atom_t atomNamed(xcb_connection_t* display, const QByteArray& name) {
  const XcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
      display,
      xcb_intern_atom(display, 0, static_cast<std::uint16_t>(name.size()), name.constData()),
      nullptr));
  return reply == nullptr ? xcb_atom_t{XCB_ATOM_NONE} : reply->atom;
}

}  // namespace talvane
