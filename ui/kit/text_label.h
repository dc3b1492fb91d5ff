#pragma once

#include <QColor>
#include <QLabel>
#include <QString>

#include "ui/kit/look.h"

namespace talvane {

/// One line or several of fixed text. What is too long for one line ends in "…" and is shown whole
/// in a tool tip.
class TextLabel : public QLabel {
 public:
  explicit TextLabel(QWidget* parent = nullptr);
  void setTextColour(const QColor& colour);
  [[nodiscard]] const QColor& textColour() const { return colour_; }
  /// In points of the panel, as all its lengths.
  void setFontSize(int size, bool bold = false);
  /// Shows the beginning of what is very long, and the whole as a tool tip where it has no room.
  void showText(const QString& whole);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QColor colour_ = paint::text;
};

}  // namespace talvane
