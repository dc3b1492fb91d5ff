#pragma once

#include <QString>
#include <QWidget>
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

  /// At this place on the desktop, `height()` high.
  void show(const QString& text, const Frame& place);
  [[nodiscard]] static int height();
  void hide() { window_.hide(); }
  [[nodiscard]] const QWidget* closeButton() const { return close_; }

 private:
  SoftTokenWindow window_;
  TextLabel* text_;
  CloseButton* close_;
};

}  // namespace talvane
