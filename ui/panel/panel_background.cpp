#include "ui/panel/panel_background.h"

#include "ui/kit/flipped_view.h"
#include "ui/kit/look.h"
#include "ui/panel/logo_text.h"
#include "ui/panel/panel_geometry.h"
#include "ui/panel/scroll_room.h"

namespace talvane {

PanelBackground::PanelBackground(int height) : FlippedView({0, 0, panel_width, height}) {
  setObjectName(QStringLiteral("bg"));
  auto* logo =
      new FlippedImageView(logoFrame(), artwork(QStringLiteral("logo260x34.png"), *this), this);
  logo->setObjectName(QStringLiteral("bg_logo"));
  auto* tiles = new TiledImageView(tileFrame(height), this);
  tiles->setImage(artwork(QStringLiteral("bgtile.png"), *this));
  tiles->setObjectName(QStringLiteral("bg_tile_view"));
  auto* toolbar = new FlippedImageView(toolbarFrame(height),
                                       artwork(QStringLiteral("bluebar260x34.png"), *this), this);
  toolbar->setObjectName(QStringLiteral("bg_toolbar"));
  room_ = new ScrollRoom(this);
  room_->setObjectName(QStringLiteral("bg_room"));
  room_->setGeometry(rectangle(tileFrame(height)));
}

void PanelBackground::showInLogo(const QString& text) {
  if (logo_text_ == nullptr) {
    if (text.isEmpty()) return;
    logo_text_ = new LogoText(this);
  }
  logo_text_->setText(text);
  logo_text_->setVisible(!text.isEmpty());
}

void PanelBackground::hold(QWidget* content, int content_height, QWidget* close) {
  close->setParent(this);
  close->setGeometry(rectangle(close_button_frame));
  room_->hold(content, content_height);
  close->raise();
  close->show();
}

}  // namespace talvane
