#include "ui/desktop/window_hints.h"

namespace talvane {

// Nothing to do: a tool window is in no list of windows.
void keepOutOfTaskBars(QWidget& /*window*/) {}

}  // namespace talvane
