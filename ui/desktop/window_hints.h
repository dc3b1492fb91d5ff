#pragma once

#include <QWidget>

namespace talvane {

/// Keeps the window out of task bars and window switchers. Call it before the window is shown.
void keepOutOfTaskBars(QWidget& window);

}  // namespace talvane
