#include <QString>

#include "ui/kit/status_icon.h"

namespace talvane {

// Each status area has its own size, and shows that of a 2x screen at twice the pixels. A drawing
// that is not of the exact size gets blurred.
QIcon statusIcon() {
  QIcon icon;
  for (const int size : {16, 18, 22, 24, 32, 36, 44, 48, 64}) {
    icon.addFile(QStringLiteral(":/softtoken/status-%1.png").arg(size));
  }
  return icon;
}

}  // namespace talvane
