#include "ui/desktop/bars.h"

namespace talvane {

// The toolkit knows the work area.
Bars desktopBars() {
  return {};
}

}  // namespace talvane
