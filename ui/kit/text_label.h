#pragma once

#include <QColor>
#include <QLabel>
#include <QString>

#include "ui/kit/look.h"

namespace talvane {

/// One or more lines of fixed text. Text that is too long for one line ends in "…", and a tool tip
/// shows all of it.
class TextLabel : public QLabel {
 public:
  explicit TextLabel(QWidget* parent = nullptr);
  void setTextColour(const QColor& colour);
  [[nodiscard]] const QColor& textColour() const { return colour_; }
  /// In points of the panel.
  void setFontSize(int size, bool bold = false);
  /// Shows the beginning of a very long text. A tool tip shows the rest if there is no room.
  void showText(const QString& whole);
  /// Has screen readers say the text whenever it comes to show: for errors, and what is to be done.
  void setAnnounced();

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QColor colour_ = paint::text;
  bool announced_ = false;
};

}  // namespace talvane
