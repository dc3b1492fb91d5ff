#include "ui/kit/accessible.h"

#include <QAccessibleWidget>
#include <QVariant>

namespace talvane {
namespace {

constexpr const char* property = "accessibleRole";
const QString announcement_name = QStringLiteral("announcement");

QAccessibleInterface* interfaceWithRole(const QString& /*class_name*/, QObject* object) {
  if (!object->isWidgetType()) return nullptr;
  const QVariant role = object->property(property);
  if (!role.isValid()) return nullptr;
  return new QAccessibleWidget(static_cast<QWidget*>(object),
                               static_cast<QAccessible::Role>(role.toInt()));
}

}  // namespace

void setAccessibleRole(QWidget& widget, QAccessible::Role role) {
  static const bool installed = (QAccessible::installFactory(interfaceWithRole), true);
  static_cast<void>(installed);
  widget.setProperty(property, static_cast<int>(role));
}

// A notification that comes to show is what all screen readers say; later toolkits also have events
// for it, which Debian 12 has not.
void announce(QWidget& window, const QString& words) {
  if (!QAccessible::isActive()) return;
  auto* said = window.findChild<QWidget*>(announcement_name, Qt::FindDirectChildrenOnly);
  if (said == nullptr) {
    said = new QWidget(&window);
    said->setObjectName(announcement_name);
    said->setAttribute(Qt::WA_TransparentForMouseEvents);
    said->setGeometry(0, 0, 1, 1);
    setAccessibleRole(*said, QAccessible::Notification);
  }
  said->hide();
  said->setAccessibleName(words);
  said->show();
}

void endAnnouncement(const QWidget& window) {
  auto* said = window.findChild<QWidget*>(announcement_name, Qt::FindDirectChildrenOnly);
  if (said != nullptr) said->hide();
}

void announceText(QWidget& shown) {
  if (!QAccessible::isActive() || !shown.isVisible()) return;
  QAccessibleEvent event(&shown, QAccessible::ObjectShow);
  QAccessible::updateAccessibility(&event);
}

QString spelled(const QString& digits) {
  QString result;
  for (const QChar digit : digits) {
    if (!result.isEmpty()) result += QLatin1Char(' ');
    result += digit;
  }
  return result;
}

}  // namespace talvane
