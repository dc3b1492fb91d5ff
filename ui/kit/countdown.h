#pragma once

#include <QWidget>

#include "ui/kit/frame.h"

namespace talvane {

/// The bar beside the rows. The elapsed part of the time step grows in white from the top; the rest
/// has the colour that warns of the step's end.
class Countdown : public QWidget {
 public:
  Countdown(const Frame& frame, QWidget* parent);

  /// Seconds elapsed in the step, 0 to period − 1; a negative value draws nothing.
  [[nodiscard]] int value() const { return value_; }
  void setValue(int value);
  /// 30 or 60 seconds.
  [[nodiscard]] int period() const { return period_; }
  void setPeriod(int period);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  /// The end of the white part, and the colour below it.
  [[nodiscard]] int splitFor(int value) const;
  [[nodiscard]] QColor restColour(int value) const;

  int value_ = 0;
  int period_ = 0;
};

}  // namespace talvane
