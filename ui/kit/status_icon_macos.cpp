#include "ui/kit/icns.h"
#include "ui/kit/status_icon.h"

namespace talvane {

QIcon statusIcon() {
  constexpr int menu_bar_size = 18;
  return applicationIcon(menu_bar_size);
}

}  // namespace talvane
