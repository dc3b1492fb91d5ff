#pragma once

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QList>
#include <QObject>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <optional>

#include "platform/shortcut.h"
#include "ui/desktop/global_shortcut.h"

class QDBusMessage;

namespace talvane {

/// One shortcut as the portal writes it: (sa{sv}).
struct PortalShortcut {
  QString id;
  QVariantMap properties;
};
QDBusArgument& operator<<(QDBusArgument& argument, const PortalShortcut& shortcut);
const QDBusArgument& operator>>(const QDBusArgument& argument, PortalShortcut& shortcut);

/// A shortcut by the desktop's GlobalShortcuts portal (XDG Desktop Portal,
/// org.freedesktop.portal.GlobalShortcuts, version 1). The desktop may ask the user, and decides
/// which keys it takes.
class ShortcutPortal final : public QObject, public GlobalShortcut {
  Q_OBJECT

 public:
  explicit ShortcutPortal(std::function<void()> pressed);
  ~ShortcutPortal() override;

  void askWhetherPossible(std::function<void(bool possible)> told) override;
  void set(const std::optional<Shortcut>& wish,
           std::function<void(const Result& result)> told) override;
  void setPaused(bool paused) override { is_paused_ = paused; }

 private:
  // What the portal has answered, one slot for each request.
  Q_SLOT void sessionMade(uint response, const QVariantMap& results);
  Q_SLOT void bound(uint response, const QVariantMap& results);
  Q_SLOT void activated(const QDBusObjectPath& session, const QString& id, qulonglong time,
                        const QVariantMap& options);

  /// The arguments of a request, which end in its options; the answer goes to `slot`.
  void request(const char* method, QList<QVariant> arguments, QVariantMap options,
               const char* slot);
  void closeSession();
  void tell(const Result& result);

  std::function<void()> pressed_;
  std::function<void(const Result& result)> told_;
  std::optional<Shortcut> wish_;
  QString session_;
  QString answer_path_;  // of the request under way
  const char* answer_slot_ = nullptr;
  int requests_ = 0;
  bool is_paused_ = false;
};

}  // namespace talvane

Q_DECLARE_METATYPE(talvane::PortalShortcut)
