#include "ui/countdown.h"

#include <QPainter>

#include "engine/vane.h"
#include "ui/view_kit.h"

namespace talvane {

Countdown::Countdown(const Frame& frame, QWidget* parent) : QWidget(parent) {
  setGeometry(rectangle(frame));
}

void Countdown::setValue(int value) {
  value_ = value;
  update();
}

void Countdown::setPeriod(int period) {
  period_ = period;
  update();
}

void Countdown::paintEvent(QPaintEvent* /*event*/) {
  if (value_ < 0) return;
  vane::log("Countdown:drawRect: begin: value:{}", value_);
  const int line_width = width() - 2;
  const auto length = static_cast<float>(height());
  vane::log("countdown:drawRect: height:{:f}  height per chunk:{:f}", length,
            length / static_cast<float>(period_ - 1));
  const int split = countdownSplit(value_, period_, length);
  QPainter painter(this);
  // Upright lines of this width, centred; filled as rectangles so that their edges are sharp.
  const int left = countdown_line_x - line_width / 2;
  if (value_ != 0) painter.fillRect(left, 0, line_width, split, Qt::white);
  painter.fillRect(left, split, line_width, height() - split,
                   colour(vane::ColorForValue(countdownColourIndex(value_, period_))));
  vane::log("Countdown:drawRect: end");
}

}  // namespace talvane
