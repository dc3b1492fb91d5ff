#pragma once

#include <QString>

#include "ui/kit/flipped_view.h"
#include "ui/panel/logo_text.h"
#include "ui/panel/scroll_room.h"

namespace talvane {

/// The background of every view: the logo band at the top, the toolbar band at the bottom, and
/// tiles between them. The view's content is on top of the tiles, and scrolls where it is higher.
class PanelBackground : public FlippedView {
 public:
  explicit PanelBackground(int height);

  /// Adds the view's content, which is `content_height` high with the bands, and the close button.
  void hold(QWidget* content, int content_height, QWidget* close);
  /// No text: the program's name.
  void showInLogo(const QString& text);
  [[nodiscard]] ScrollRoom& room() { return *room_; }

 private:
  ScrollRoom* room_;
  LogoText* logo_text_ = nullptr;
};

}  // namespace talvane
