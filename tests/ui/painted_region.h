#pragma once

#include <QPaintEvent>
#include <QWidget>

#include "tests/ui/on_event.h"

namespace talvane::test {

/// What a widget has painted of itself since this was made, while this lives.
class PaintedRegion {
 public:
  explicit PaintedRegion(QWidget& widget)
      : watch_(widget, QEvent::Paint,
               [this](QEvent& event) { region += static_cast<QPaintEvent&>(event).region(); }) {}
  QRegion region;

 private:
  OnEvent watch_;
};

}  // namespace talvane::test
