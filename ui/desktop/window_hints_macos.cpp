#include "ui/desktop/window_hints.h"

namespace talvane {

// Nothing to do: window lists do not contain tool windows.
void keepOutOfTaskBars(QWidget& /*window*/) {}

}  // namespace talvane
