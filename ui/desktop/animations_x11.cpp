#include <xcb/xcb.h>
#include <QDir>
#include <QSettings>
#include <QStandardPaths>

#include <cstddef>
#include <cstdint>
#include <optional>

#include "ui/desktop/animations.h"
#include "ui/desktop/current_desktop.h"
#include "ui/desktop/xcb_atom.h"
#include "ui/desktop/xsettings.h"

namespace talvane {
namespace {

constexpr std::uint32_t longest_property = 65536;

// What GNOME, XFCE, MATE, Cinnamon and LXQt tell to programs.
std::optional<std::int32_t> xSetting(xcb_connection_t* display, const char* name) {
  const xcb_window_t owner = selectionOwner(display, "_XSETTINGS_S0");
  if (owner == XCB_WINDOW_NONE) return std::nullopt;
  const xcb_atom_t settings = atomNamed(display, "_XSETTINGS_SETTINGS");
  const XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
      display, xcb_get_property(display, 0, owner, settings, settings, 0, longest_property),
      nullptr));
  if (reply == nullptr || reply->format != 8) return std::nullopt;
  const auto* bytes = static_cast<const std::uint8_t*>(xcb_get_property_value(reply.get()));
  const auto size = static_cast<std::size_t>(xcb_get_property_value_length(reply.get()));
  return numberInXSettings({bytes, size}, name);
}

// Plasma's "Animation speed: Instant".
bool plasmaIsInstant() {
  const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
  const QSettings settings(QDir(folder).filePath(QStringLiteral("kdeglobals")),
                           QSettings::IniFormat);
  bool is_number = false;
  const double factor =
      settings.value(QStringLiteral("KDE/AnimationDurationFactor")).toDouble(&is_number);
  return is_number && factor <= 0;
}

}  // namespace

bool showsAnimations() {
  xcb_connection_t* display = x11Connection();
  if (display != nullptr && xSetting(display, "Gtk/EnableAnimations").value_or(1) == 0) {
    return false;
  }
  return !isCurrentDesktop("KDE") || !plasmaIsInstant();
}

}  // namespace talvane
