#include "ui/desktop/display.h"

namespace talvane {

std::string prepareDisplay() {
  return {};
}

}  // namespace talvane
