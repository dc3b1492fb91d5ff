#include <QCursor>
#include <QGuiApplication>
#include <QScreen>

#include <cstdlib>
#include <optional>
#include <string_view>

#include "ui/desktop/pointer.h"
#include "ui/kit/frame.h"

namespace talvane {
namespace {

// There, a program only learns where the mouse was last over one of its windows.
bool isWayland() {
  if (QGuiApplication::platformName() != QLatin1String("xcb")) return true;
  const char* session = std::getenv("XDG_SESSION_TYPE");
  if (session != nullptr && std::string_view(session) == "wayland") return true;
  const QScreen* screen = QGuiApplication::primaryScreen();
  return screen == nullptr || screen->name().startsWith(QLatin1String("XWAYLAND"));
}

}  // namespace

std::optional<Place> pointer() {
  if (isWayland()) return std::nullopt;
  const QPoint place = QCursor::pos();
  return Place{place.x(), place.y()};
}

}  // namespace talvane
