#pragma once

#include <QPaintEvent>
#include <QWidget>

namespace talvane::test {

/// What a widget has painted of itself since this was made, while this lives.
class PaintedRegion : public QObject {
 public:
  explicit PaintedRegion(QWidget& widget) { widget.installEventFilter(this); }
  QRegion region;

 private:
  bool eventFilter(QObject* /*watched*/, QEvent* event) override {
    if (event->type() == QEvent::Paint) region += static_cast<QPaintEvent*>(event)->region();
    return false;
  }
};

}  // namespace talvane::test
