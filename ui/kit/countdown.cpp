#include "ui/kit/countdown.h"

#include <QAccessibleWidget>
#include <QPainter>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "engine/vane.h"
#include "ui/kit/countdown_geometry.h"
#include "ui/kit/frame.h"
#include "ui/kit/look.h"

namespace talvane {
namespace {

// A progress bar of the seconds that are left. It tells no changes: nobody wants to hear them each
// second, and those who ask get the present value.
class CountdownInterface final : public QAccessibleWidget, public QAccessibleValueInterface {
 public:
  explicit CountdownInterface(Countdown& countdown)
      : QAccessibleWidget(&countdown, QAccessible::ProgressBar), countdown_(countdown) {}

  void* interface_cast(QAccessible::InterfaceType type) override {
    if (type == QAccessible::ValueInterface) return static_cast<QAccessibleValueInterface*>(this);
    return QAccessibleWidget::interface_cast(type);
  }
  QAccessible::State state() const override {
    QAccessible::State state = QAccessibleWidget::state();
    state.readOnly = true;
    return state;
  }
  QVariant currentValue() const override { return countdown_.period() - countdown_.value(); }
  void setCurrentValue(const QVariant& /*value*/) override {}
  QVariant maximumValue() const override { return countdown_.period(); }
  QVariant minimumValue() const override { return 0; }
  QVariant minimumStepSize() const override { return 1; }

 private:
  Countdown& countdown_;
};

QAccessibleInterface* accessibleCountdown(const QString& /*class_name*/, QObject* object) {
  auto* countdown = dynamic_cast<Countdown*>(object);
  return countdown == nullptr ? nullptr : new CountdownInterface(*countdown);
}

}  // namespace

Countdown::Countdown(const Frame& frame, QWidget* parent) : QWidget(parent) {
  static const bool installed = (QAccessible::installFactory(accessibleCountdown), true);
  static_cast<void>(installed);
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
  // Painting a long bar costs more than everything else that changes each second, so repaint only
  // the part whose colour changed.
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
  // Centred vertical lines of this width, painted as rectangles for sharp edges.
  const int left = countdown_line_x - line_width / 2;
  if (value_ != 0) painter.fillRect(left, 0, line_width, split, Qt::white);
  painter.fillRect(left, split, line_width, height() - split, restColour(value_));
  vane::log("Countdown:drawRect: end");
}

}  // namespace talvane
