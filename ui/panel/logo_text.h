#pragma once

#include <QLabel>

#include "ui/kit/frame.h"

namespace talvane {

/// Where what is typed begins, in the panel: input methods open their windows below it.
inline constexpr Frame logo_cursor_frame{61, 7, 2, 21};

/// What the user types to find a token, on the logo band where the program's name stands.
class LogoText final : public QLabel {
 public:
  explicit LogoText(QWidget* parent);

 protected:
  void paintEvent(QPaintEvent* event) override;
};

}  // namespace talvane
