#include <stdlib.h>
#include <xcb/xcb.h>

#include <cstdlib>
#include <string>

#include "platform/translation.h"
#include "ui/desktop/display.h"

namespace talvane {
namespace {

bool isSet(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && value[0] != '\0';
}

bool displayAnswers() {
  xcb_connection_t* display = xcb_connect(nullptr, nullptr);
  const bool answers = xcb_connection_has_error(display) == 0;
  xcb_disconnect(display);
  return answers;
}

}  // namespace

std::string prepareDisplay() {
  if (isSet("QT_QPA_PLATFORM")) return {};
  if (!isSet("DISPLAY")) {
    if (isSet("WAYLAND_DISPLAY")) return {};
    return translated("No display found; without a desktop, use softtoken-cli");
  }
  // The panel must choose its position, which only X11 allows.
  setenv("QT_QPA_PLATFORM", "xcb", 1);
  if (!displayAnswers()) {
    return translatedWith("Cannot open the display {}; without a desktop, use softtoken-cli",
                          std::getenv("DISPLAY"));
  }
  return {};
}

}  // namespace talvane
