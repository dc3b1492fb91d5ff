#include "ui/desktop/shortcut_portal.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QGuiApplication>

#include <functional>
#include <optional>
#include <utility>

#include "platform/shortcut.h"
#include "platform/translation.h"
#include "ui/desktop/shortcut_keys.h"

namespace talvane {
namespace {

constexpr const char* service = "org.freedesktop.portal.Desktop";
constexpr const char* path = "/org/freedesktop/portal/desktop";
constexpr const char* shortcuts_interface = "org.freedesktop.portal.GlobalShortcuts";
constexpr const char* request_interface = "org.freedesktop.portal.Request";
constexpr const char* shortcut_id = "toggle";

QDBusMessage call(const char* interface, const char* method) {
  return QDBusMessage::createMethodCall(QLatin1String(service), QLatin1String(path),
                                        QLatin1String(interface), QLatin1String(method));
}

void send(const QDBusMessage& message) {
  QDBusConnection::sessionBus().call(message, QDBus::NoBlock);
}

// The object for a word of ours: its path also has our name on the bus.
QString pathFor(const char* kind, const QString& word) {
  QString sender = QDBusConnection::sessionBus().baseService().mid(1);
  sender.replace(QLatin1Char('.'), QLatin1Char('_'));
  return QStringLiteral("%1/%2/%3/%4").arg(QLatin1String(path), QLatin1String(kind), sender, word);
}

// Programs outside a sandbox say themselves who they are, before anything else; older portals find
// it out.
void introduceOnce() {
  static bool done = false;
  if (std::exchange(done, true)) return;
  QDBusMessage message = call("org.freedesktop.host.portal.Registry", "Register");
  message.setArguments({QGuiApplication::desktopFileName(), QVariantMap()});
  send(message);
}

}  // namespace

QDBusArgument& operator<<(QDBusArgument& argument, const PortalShortcut& shortcut) {
  argument.beginStructure();
  argument << shortcut.id << shortcut.properties;
  argument.endStructure();
  return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, PortalShortcut& shortcut) {
  argument.beginStructure();
  argument >> shortcut.id >> shortcut.properties;
  argument.endStructure();
  return argument;
}

ShortcutPortal::ShortcutPortal(std::function<void()> pressed) : pressed_(std::move(pressed)) {
  qDBusRegisterMetaType<PortalShortcut>();
  qDBusRegisterMetaType<QList<PortalShortcut>>();
}

ShortcutPortal::~ShortcutPortal() {
  closeSession();
}

void ShortcutPortal::askWhetherPossible(std::function<void(bool possible)> told) {
  const QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) {
    told(false);
    return;
  }
  QDBusMessage question = call("org.freedesktop.DBus.Properties", "Get");
  question.setArguments({QLatin1String(shortcuts_interface), QStringLiteral("version")});
  auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(question), this);
  connect(watcher, &QDBusPendingCallWatcher::finished, this, [watcher, told = std::move(told)] {
    const QDBusPendingReply<QDBusVariant> answer = *watcher;
    watcher->deleteLater();
    told(answer.isValid());
  });
}

void ShortcutPortal::set(const std::optional<Shortcut>& wish,
                         std::function<void(const Result& result)> told) {
  closeSession();
  is_paused_ = false;
  wish_ = wish;
  told_ = std::move(told);
  if (!wish_) {
    tell({});
    return;
  }
  if (!QDBusConnection::sessionBus().isConnected()) {
    tell({translated("The session bus does not answer, so there is no shortcut now"), ""});
    return;
  }
  introduceOnce();
  const QString word = QStringLiteral("softtoken%1").arg(requests_);
  // So that it can be closed before the answer.
  session_ = pathFor("session", word);
  request("CreateSession", {}, {{QStringLiteral("session_handle_token"), word}},
          SLOT(sessionMade(uint, QVariantMap)));
}

// The answer is a signal from an object that is named after us and a word of ours, so that it
// cannot be missed (org.freedesktop.portal.Request).
void ShortcutPortal::request(const char* method, QList<QVariant> arguments, QVariantMap options,
                             const char* slot) {
  QDBusConnection bus = QDBusConnection::sessionBus();
  const QString token = QStringLiteral("softtoken%1").arg(++requests_);
  options.insert(QStringLiteral("handle_token"), token);
  arguments.append(options);
  if (answer_slot_ != nullptr) {
    bus.disconnect(QLatin1String(service), answer_path_, QLatin1String(request_interface),
                   QStringLiteral("Response"), this, answer_slot_);
  }
  answer_path_ = pathFor("request", token);
  answer_slot_ = slot;
  bus.connect(QLatin1String(service), answer_path_, QLatin1String(request_interface),
              QStringLiteral("Response"), this, slot);
  QDBusMessage message = call(shortcuts_interface, method);
  message.setArguments(arguments);
  auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(message), this);
  const int number = requests_;
  connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, number] {
    watcher->deleteLater();
    if (!watcher->isError() || number != requests_) return;
    tell({translatedWith("The desktop gives no shortcut: {}",
                         watcher->error().message().toStdString()),
          ""});
  });
}

void ShortcutPortal::sessionMade(uint response, const QVariantMap& results) {
  const QString session = results.value(QStringLiteral("session_handle")).toString();
  if (response != 0 || session.isEmpty() || !wish_) {
    session_.clear();
    tell({translated("The desktop gives no shortcut; choose one in its own settings"), ""});
    return;
  }
  session_ = session;
  QDBusConnection::sessionBus().connect(
      QLatin1String(service), QLatin1String(path), QLatin1String(shortcuts_interface),
      QStringLiteral("Activated"), this,
      SLOT(activated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
  const PortalShortcut shortcut{
      QLatin1String(shortcut_id),
      {{QStringLiteral("description"),
        QString::fromStdString(translated("Open or close the panel"))},
       {QStringLiteral("preferred_trigger"), QString::fromStdString(portalTrigger(*wish_))}}};
  request("BindShortcuts",
          {QVariant::fromValue(QDBusObjectPath(session_)),
           QVariant::fromValue(QList<PortalShortcut>{shortcut}), QString()},
          {}, SLOT(bound(uint, QVariantMap)));
}

void ShortcutPortal::bound(uint response, const QVariantMap& results) {
  const auto shortcuts = qdbus_cast<QList<PortalShortcut>>(
      results.value(QStringLiteral("shortcuts")).value<QDBusArgument>());
  if (response != 0 || shortcuts.isEmpty()) {
    tell({translated("The desktop did not take the shortcut; choose another one, or one in the "
                     "desktop's own "
                     "settings"),
          ""});
    return;
  }
  const QString shown =
      shortcuts.front().properties.value(QStringLiteral("trigger_description")).toString();
  tell({"", shown.isEmpty() ? textOf(*wish_) : shown.toStdString()});
}

void ShortcutPortal::activated(const QDBusObjectPath& session, const QString& id,
                               qulonglong /*time*/, const QVariantMap& /*options*/) {
  if (session.path() == session_ && id == QLatin1String(shortcut_id) && !is_paused_) pressed_();
}

void ShortcutPortal::closeSession() {
  ++requests_;  // no answer to an earlier request counts
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (answer_slot_ != nullptr) {
    bus.disconnect(QLatin1String(service), answer_path_, QLatin1String(request_interface),
                   QStringLiteral("Response"), this, answer_slot_);
    answer_slot_ = nullptr;
  }
  if (session_.isEmpty()) return;
  bus.disconnect(QLatin1String(service), QLatin1String(path), QLatin1String(shortcuts_interface),
                 QStringLiteral("Activated"), this,
                 SLOT(activated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
  send(QDBusMessage::createMethodCall(QLatin1String(service), std::exchange(session_, QString()),
                                      QStringLiteral("org.freedesktop.portal.Session"),
                                      QStringLiteral("Close")));
}

void ShortcutPortal::tell(const Result& result) {
  if (const auto told = std::exchange(told_, nullptr)) told(result);
}

}  // namespace talvane
