#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QGuiApplication>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include "ui/desktop/notification.h"

namespace talvane {

// The "Desktop Notifications Specification", version 1.2.
void notify(const QString& text) {
  constexpr uint replaces_none = 0;
  constexpr int desktops_own_time = -1;
  const QString service = QStringLiteral("org.freedesktop.Notifications");
  QDBusMessage call = QDBusMessage::createMethodCall(
      service, QStringLiteral("/org/freedesktop/Notifications"), service, QStringLiteral("Notify"));
  const QVariantMap hints{{QStringLiteral("desktop-entry"), QGuiApplication::desktopFileName()},
                          // Nobody needs to read it later.
                          {QStringLiteral("transient"), true}};
  // The text is the summary: the body may be taken for markup.
  call << QCoreApplication::applicationName() << replaces_none << QStringLiteral("softtoken")
       << text << QString() << QStringList() << hints << desktops_own_time;
  // Wants no reply, so that a service that is slow or absent is nobody's trouble.
  QDBusConnection::sessionBus().send(call);
}

}  // namespace talvane
