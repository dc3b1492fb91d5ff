#pragma once

#include <QString>
#include <QWidget>
#include <cstdint>
#include <functional>

#include "ui/kit/buttons.h"
#include "ui/kit/frame.h"
#include "ui/kit/text_label.h"
#include "ui/panel/soft_token_window.h"

namespace talvane {

/// Shows in the panel's place while the tokens for a view are being read.
class WaitSign {
 public:
  /// `leave` is called when the user closes it.
  explicit WaitSign(const std::function<void()>& leave);

  /// Whether it takes the keyboard. Over a panel that has it, it does not: a window manager may
  /// hand it over only once the sign is gone, and the panel would not get it back.
  enum class Keys : std::uint8_t { leaves, takes };
  /// At this place on the desktop, `height()` high.
  void show(const QString& text, const Frame& place, Keys keys);
  [[nodiscard]] static int height();
  void hide() { window_.hide(); }
  [[nodiscard]] bool isVisible() const { return window_.isVisible(); }
  [[nodiscard]] const QWidget* closeButton() const { return close_; }

 private:
  SoftTokenWindow window_;
  TextLabel* text_;
  CloseButton* close_;
};

}  // namespace talvane
