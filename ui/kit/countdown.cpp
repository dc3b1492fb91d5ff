#include "ui/kit/countdown.h"

#include <QPainter>
#include <algorithm>
#include <cstdlib>
#include <utility>

#include "engine/vane.h"
#include "ui/kit/countdown_geometry.h"
#include "ui/kit/look.h"

namespace talvane {

Countdown::Countdown(const Frame& frame, QWidget* parent) : QWidget(parent) {
  setGeometry(rectangle(frame));
}

void Countdown::setValue(int value) {
  const int before = std::exchange(value_, value);
  const int old_split = splitFor(before);
  const int new_split = splitFor(value);
  if (before < 0 || value < 0 || restColour(before) != restColour(value)) {
    update();
    return;
  }
  // A long bar costs more than all else that a second changes: only what has become white, or the
  // other way round.
  update(0, std::min(old_split, new_split), width(), std::abs(new_split - old_split));
}

int Countdown::splitFor(int value) const {
  return countdownSplit(value, period_, static_cast<float>(height()));
}

QColor Countdown::restColour(int value) const {
  return colour(vane::ColorForValue(countdownColourIndex(value, period_)));
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
  const int split = splitFor(value_);
  QPainter painter(this);
  // Upright lines of this width, centred; filled as rectangles so that their edges are sharp.
  const int left = countdown_line_x - line_width / 2;
  if (value_ != 0) painter.fillRect(left, 0, line_width, split, Qt::white);
  painter.fillRect(left, split, line_width, height() - split, restColour(value_));
  vane::log("Countdown:drawRect: end");
}

}  // namespace talvane
