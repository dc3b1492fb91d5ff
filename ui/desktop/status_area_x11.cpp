#include <xcb/xcb.h>
#include <QAbstractNativeEventFilter>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QGuiApplication>
#include <QObject>

#include <functional>
#include <memory>
#include <utility>

#include "ui/desktop/bus_signal.h"
#include "ui/desktop/current_desktop.h"
#include "ui/desktop/embedded_icon_x11.h"
#include "ui/desktop/status_area.h"
#include "ui/desktop/xcb_atom.h"

namespace talvane {
namespace {

constexpr const char* watcher_service = "org.kde.StatusNotifierWatcher";
constexpr const char* watcher_path = "/StatusNotifierWatcher";
constexpr int patience_milliseconds = 500;

bool hasEmbeddingTray(xcb_connection_t* display) {
  return embeddingTray(display) != XCB_WINDOW_NONE;
}

// A status area that takes StatusNotifierItems.
bool hasNotifierHost() {
  const QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected() || !bus.interface()->isServiceRegistered(QLatin1String(watcher_service))) {
    return false;
  }
  QDBusMessage question = QDBusMessage::createMethodCall(
      QLatin1String(watcher_service), QLatin1String(watcher_path),
      QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
  question.setArguments(
      {QLatin1String(watcher_service), QStringLiteral("IsStatusNotifierHostRegistered")});
  const QDBusReply<QDBusVariant> answer = bus.call(question, QDBus::Block, patience_milliseconds);
  return answer.isValid() && answer.value().variant().toBool();
}

class X11StatusArea final : public StatusArea, private QAbstractNativeEventFilter {
 public:
  ~X11StatusArea() override { qGuiApp->removeNativeEventFilter(this); }

  bool isThere() override {
    xcb_connection_t* display = x11Connection();
    return display == nullptr || hasNotifierHost() || hasEmbeddingTray(display);
  }

  [[nodiscard]] bool hasMenus() const override { return true; }

  // GNOME's extension for StatusNotifierItems opens the menu at a click, and activates the item at
  // a double click; it hands on all clicks to embedded icons.
  std::unique_ptr<QWidget> makeIcon(const QIcon& image) override {
    xcb_connection_t* display = x11Connection();
    if (display == nullptr || !isCurrentDesktop("GNOME") || !hasEmbeddingTray(display))
      return nullptr;
    auto icon = std::make_unique<EmbeddedIcon>(image);
    icon->dock();
    watch([icon = icon.get()] { icon->dock(); });
    return icon;
  }

  void watch(std::function<void()> appeared) override {
    signal_ = std::make_unique<BusSignal>(std::move(appeared));
    qGuiApp->installNativeEventFilter(this);
    QDBusConnection bus = QDBusConnection::sessionBus();
    // The host may start after its watcher, which then signals it. Accept the signal from any
    // sender: the owner of the watcher's name may not be known here yet.
    bus.connect(QString(), QLatin1String(watcher_path), QLatin1String(watcher_service),
                QStringLiteral("StatusNotifierHostRegistered"), signal_.get(), SLOT(arrive()));
    bus.connect(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameOwnerChanged"),
                {QLatin1String(watcher_service)}, QString(), signal_.get(), SLOT(arrive()));
  }

 private:
  // The owner of the tray's selection announces itself to all clients.
  bool nativeEventFilter(const QByteArray& type, void* message, qintptr* /*result*/) override {
    if (type != "xcb_generic_event_t") return false;
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if ((event->response_type & 0x7f) != XCB_CLIENT_MESSAGE) return false;
    const auto* client = reinterpret_cast<const xcb_client_message_event_t*>(event);
    if (client->type == atomNamed(x11Connection(), "MANAGER")) {
      QMetaObject::invokeMethod(
          signal_.get(), [signal = signal_.get()] { signal->arrive(); }, Qt::QueuedConnection);
    }
    return false;
  }

  std::unique_ptr<BusSignal> signal_;
};

}  // namespace

std::unique_ptr<StatusArea> systemStatusArea() {
  return std::make_unique<X11StatusArea>();
}

}  // namespace talvane
