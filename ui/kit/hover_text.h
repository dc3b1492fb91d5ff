#pragma once

#include <QEvent>
#include <QString>
#include <QWidget>

namespace talvane {

/// Shows the text beside a pointer that rests on the widget; an empty one shows nothing. The text
/// is never taken for markup, and unlike the toolkit's tool tips it does not become the description
/// that screen readers read after the widget's name.
void setHoverText(QWidget& widget, const QString& text);
[[nodiscard]] QString hoverText(const QWidget& widget);

/// The same for a widget that decides its text when it is asked: `event` is a `QEvent::ToolTip`.
void showHoverText(QWidget& widget, const QEvent& event, const QString& text);

}  // namespace talvane
