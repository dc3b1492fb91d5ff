#pragma once

#include <QWidget>

namespace talvane {

/// Whether the window manager puts windows where it wants, so that the panel must do without one.
bool placesWindowsItself();

/// Keeps the window out of task bars and window switchers. Call it before the window is shown.
void keepOutOfTaskBars(QWidget& window);

/// Shows only this part of the window, and takes clicks only there; all of it if the part is empty.
/// Unlike a widget's mask, it leaves the painting alone.
void showOnly(QWidget& window, const QRegion& part);

}  // namespace talvane
