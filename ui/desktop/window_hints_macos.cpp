#include <QRegion>
#include <QWindow>

#include "ui/desktop/window_hints.h"

namespace talvane {

bool placesWindowsItself() {
  return false;
}

// Nothing to do: window lists do not contain tool windows.
void keepOutOfTaskBars(QWidget& /*window*/) {}

void showOnly(QWidget& window, const QRegion& part) {
  window.winId();
  window.windowHandle()->setMask(part);
}

}  // namespace talvane
