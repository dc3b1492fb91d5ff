#include "ui/panel/wait_sign.h"

#include <functional>

#include "ui/desktop/window_hints.h"
#include "ui/kit/buttons.h"
#include "ui/kit/frame.h"
#include "ui/kit/hover_text.h"
#include "ui/kit/look.h"
#include "ui/kit/text_label.h"
#include "ui/kit/ui_text.h"
#include "ui/panel/panel_background.h"
#include "ui/panel/panel_geometry.h"
#include "ui/panel/soft_token_window.h"

namespace talvane {

WaitSign::WaitSign(const std::function<void()>& leave)
    : window_({0, 0, panel_width, tokenViewHeight(0)}) {
  window_.setObjectName(QStringLiteral("wait"));
  window_.setFixedSize(panel_width, height());
  auto* background = new PanelBackground(height());
  delete window_.setContentView(background);
  text_ = new TextLabel(background);
  text_->setObjectName(QStringLiteral("waittext"));
  text_->setAlignment(Qt::AlignCenter);
  text_->setGeometry(rectangle(withoutBands({0, 0, panel_width, height()})));
  close_ = new CloseButton(background);
  close_->setObjectName(QStringLiteral("waitclose"));
  close_->setAccessibleName(uiText("Close"));
  setHoverText(*close_, close_->accessibleName());
  close_->setGeometry(rectangle(close_button_frame));
  QObject::connect(close_, &QAbstractButton::clicked, &window_, leave);
  window_.closed_by_user = [leave] {
    leave();
    return true;
  };
}

int WaitSign::height() {
  return tokenViewHeight(0);
}

void WaitSign::show(const QString& text, const Frame& place, Keys keys) {
  if (window_.isVisible()) return;
  text_->showText(text);
  window_.setAccessibleName(text);
  window_.place(place);
  keepOutOfTaskBars(window_);
  window_.setAttribute(Qt::WA_ShowWithoutActivating, keys == Keys::leaves);
  window_.show();
  window_.raise();
  if (keys == Keys::takes) window_.activateWindow();
}

}  // namespace talvane
