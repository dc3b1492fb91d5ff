#include <xcb/xcb.h>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QDir>
#include <QObject>
#include <QSettings>
#include <QStandardPaths>

#include <cstddef>
#include <cstdint>
#include <optional>

#include "ui/desktop/animations.h"
#include "ui/desktop/bus_signal.h"
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

// GNOME tells by the portal only (org.freedesktop.portal.Settings, version 1).
class GnomeSettings : public QObject {
 public:
  explicit GnomeSettings(QObject* parent) : QObject(parent), changed_([this] { ask(); }) {
    QDBusConnection::sessionBus().connect(
        QLatin1String(service), QLatin1String(path), QLatin1String(interface),
        QStringLiteral("SettingChanged"), &changed_, SLOT(arrive()));
    ask();
  }
  [[nodiscard]] bool showAnimations() const { return show_animations_; }

 private:
  static constexpr const char* service = "org.freedesktop.portal.Desktop";
  static constexpr const char* path = "/org/freedesktop/portal/desktop";
  static constexpr const char* interface = "org.freedesktop.portal.Settings";

  void ask() {
    QDBusMessage question =
        QDBusMessage::createMethodCall(QLatin1String(service), QLatin1String(path),
                                       QLatin1String(interface), QStringLiteral("Read"));
    question.setArguments(
        {QStringLiteral("org.gnome.desktop.interface"), QStringLiteral("enable-animations")});
    auto* answer =
        new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(question), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
      const QDBusPendingReply<QDBusVariant> reply = *answer;
      // A variant within a variant.
      if (reply.isValid()) {
        show_animations_ = reply.value().variant().value<QDBusVariant>().variant().toBool();
      }
      answer->deleteLater();
    });
  }

  BusSignal changed_;
  bool show_animations_ = true;
};

bool gnomeShowsAnimations() {
  static const auto* const settings = new GnomeSettings(qApp);
  return settings->showAnimations();
}

}  // namespace

void prepareAnimations() {
  if (isCurrentDesktop("GNOME")) static_cast<void>(gnomeShowsAnimations());
}

bool showsAnimations() {
  if (isCurrentDesktop("GNOME") && !gnomeShowsAnimations()) return false;
  xcb_connection_t* display = x11Connection();
  if (display != nullptr && xSetting(display, "Gtk/EnableAnimations").value_or(1) == 0) {
    return false;
  }
  return !isCurrentDesktop("KDE") || !plasmaIsInstant();
}

}  // namespace talvane
