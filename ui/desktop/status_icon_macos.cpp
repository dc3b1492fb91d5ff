#include "ui/desktop/status_icon.h"
#include "ui/kit/icns.h"

namespace talvane {

QIcon statusIcon() {
  constexpr int menu_bar_size = 18;
  return applicationIcon(menu_bar_size);
}

}  // namespace talvane
