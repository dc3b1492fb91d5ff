#pragma once

#include <QLabel>

namespace talvane {

/// What the user types to find a token, on the logo band where the program's name stands.
class LogoText final : public QLabel {
 public:
  explicit LogoText(QWidget* parent);

 protected:
  void paintEvent(QPaintEvent* event) override;
};

}  // namespace talvane
