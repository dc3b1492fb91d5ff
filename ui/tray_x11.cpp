// The status area of X11 desktops.

#include <QApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusServiceWatcher>
#include <QEvent>
#include <QMouseEvent>
#include <utility>

#include <xcb/xcb.h>

#include "ui/icns.h"
#include "ui/tray.h"
#include "ui/xcb_atom.h"

namespace talvane {
namespace {

constexpr const char* watcher_service = "org.kde.StatusNotifierWatcher";
constexpr int patience_milliseconds = 500;

xcb_connection_t* connection() {
  auto* x11 = qApp->nativeInterface<QNativeInterface::QX11Application>();
  return x11 == nullptr ? nullptr : x11->connection();
}

// A status area that takes embedded windows (System Tray Protocol: the owner of this selection).
bool hasEmbeddingTray() {
  xcb_connection_t* display = connection();
  if (display == nullptr) return false;
  const XcbReply<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
      display, xcb_get_selection_owner(display, atomNamed(display, "_NET_SYSTEM_TRAY_S0")),
      nullptr));
  return reply != nullptr && reply->owner != XCB_WINDOW_NONE;
}

// A status area that takes StatusNotifierItems.
bool hasNotifierHost() {
  const QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected() || !bus.interface()->isServiceRegistered(QLatin1String(watcher_service))) {
    return false;
  }
  QDBusMessage question = QDBusMessage::createMethodCall(
      QLatin1String(watcher_service), QStringLiteral("/StatusNotifierWatcher"),
      QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
  question.setArguments(
      {QLatin1String(watcher_service), QStringLiteral("IsStatusNotifierHostRegistered")});
  const QDBusReply<QDBusVariant> answer = bus.call(question, QDBus::Block, patience_milliseconds);
  return answer.isValid() && answer.value().variant().toBool();
}

}  // namespace

Tray::Tray(std::function<void()> clicked) : clicked_(std::move(clicked)) {}

Tray::~Tray() {
  qApp->removeEventFilter(this);
  qApp->removeNativeEventFilter(this);
}

void Tray::show() {
  if (icon_ != nullptr) return;
  // The toolkit looks once for the first kind and keeps to what it found: not before one is there.
  if (!hasNotifierHost() && !hasEmbeddingTray() && connection() != nullptr) {
    waitForOne();
    return;
  }
  watcher_.reset();
  qApp->removeNativeEventFilter(this);
  qApp->installEventFilter(this);
  icon_ = std::make_unique<QSystemTrayIcon>(statusIcon());
  icon_->setToolTip(QStringLiteral("Talvane Soft Token"));
  connect(icon_.get(), &QSystemTrayIcon::activated, this,
          [this](QSystemTrayIcon::ActivationReason reason) {
            if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick) {
              clicked_();
            }
          });
  icon_->show();
}

void Tray::waitForOne() {
  if (watcher_ != nullptr) return;
  qApp->installNativeEventFilter(this);
  QDBusConnection bus = QDBusConnection::sessionBus();
  watcher_ = std::make_unique<QDBusServiceWatcher>(QLatin1String(watcher_service), bus,
                                                   QDBusServiceWatcher::WatchForRegistration);
  connect(
      watcher_.get(), &QDBusServiceWatcher::serviceRegistered, this, [this] { show(); },
      Qt::QueuedConnection);
  // The host may come after its watcher.
  bus.connect(QLatin1String(watcher_service), QStringLiteral("/StatusNotifierWatcher"),
              QLatin1String(watcher_service), QStringLiteral("StatusNotifierHostRegistered"), this,
              SLOT(show()));
}

// An icon that is embedded tells of the press; what counts is the release.
bool Tray::eventFilter(QObject* watched, QEvent* event) {
  switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseButtonRelease:
      break;
    default:
      return false;
  }
  if (watched->objectName() != QLatin1String("QSystemTrayIconSys")) return false;
  if (static_cast<QMouseEvent*>(event)->button() != Qt::LeftButton) return false;
  if (event->type() == QEvent::MouseButtonRelease) clicked_();
  return true;
}

bool Tray::nativeEventFilter(const QByteArray& type, void* message, qintptr* /*result*/) {
  if (type != "xcb_generic_event_t") return false;
  const auto* event = static_cast<const xcb_generic_event_t*>(message);
  if ((event->response_type & 0x7f) != XCB_CLIENT_MESSAGE) return false;
  const auto* client = reinterpret_cast<const xcb_client_message_event_t*>(event);
  if (client->type != atomNamed(connection(), "MANAGER")) return false;
  QMetaObject::invokeMethod(
      this, [this] { show(); }, Qt::QueuedConnection);
  return false;
}

}  // namespace talvane
