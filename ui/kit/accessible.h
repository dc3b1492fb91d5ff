#pragma once

#include <QAccessible>
#include <QString>
#include <QWidget>

namespace talvane {

/// What screen readers take the widget for. Before the widget is first shown.
void setAccessibleRole(QWidget& widget, QAccessible::Role role);

/// Has a screen reader, if there is one, say this about the shown window. The words cannot be seen.
void announce(QWidget& window, const QString& words);
/// The window hides: what was said last must not be said again when it shows.
void endAnnouncement(const QWidget& window);
/// The same for what can be seen: its text is said when it shows, and when this is called.
void announceText(QWidget& shown);

/// "123456" as "1 2 3 4 5 6", so that it is not read as one number.
[[nodiscard]] QString spelled(const QString& digits);

}  // namespace talvane
