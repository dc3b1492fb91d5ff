#pragma once

#include <QDBusArgument>
#include <QMetaType>
#include <QString>
#include <QVariantMap>

namespace talvane {

/// A hit as KRunner takes it (org.kde.krunner1): (sssida{sv}).
struct SearchHit {
  QString id;
  QString text;
  QString icon;
  int kind = 0;
  double relevance = 0;
  QVariantMap properties;
};
QDBusArgument& operator<<(QDBusArgument& argument, const SearchHit& hit);
const QDBusArgument& operator>>(const QDBusArgument& argument, SearchHit& hit);

/// Something else that a user could do with a hit: (sss). There is nothing.
struct SearchAction {
  QString id;
  QString text;
  QString icon;
};
QDBusArgument& operator<<(QDBusArgument& argument, const SearchAction& action);
const QDBusArgument& operator>>(const QDBusArgument& argument, SearchAction& action);

}  // namespace talvane

Q_DECLARE_METATYPE(talvane::SearchHit)
Q_DECLARE_METATYPE(talvane::SearchAction)
