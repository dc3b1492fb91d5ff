#include <QCursor>

#include <optional>

#include "ui/desktop/pointer.h"
#include "ui/kit/frame.h"

namespace talvane {

std::optional<Place> pointer() {
  const QPoint place = QCursor::pos();
  return Place{place.x(), place.y()};
}

}  // namespace talvane
