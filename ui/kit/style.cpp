#include "ui/kit/style.h"

#include <QApplication>
#include <QPainter>
#include <QPalette>
#include <QProxyStyle>
#include <QStyleOption>
#include <QToolTip>

#include "ui/kit/focus_ring.h"
#include "ui/kit/look.h"

namespace talvane {
namespace {

const QColor popup_ground{0x3a, 0x3f, 0x47};  // of menus and tool tips
const QColor disabled_on_popup{0xa3, 0xab, 0xb7};
const QColor quiet_on_white{0x60, 0x66, 0x70};

// With the panel's focus ring on menus and combo boxes, where the highlight stands out too little.
class PanelStyle final : public QProxyStyle {
 public:
  PanelStyle() : QProxyStyle(QStringLiteral("Fusion")) {}

  void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                   const QWidget* widget) const override {
    QProxyStyle::drawControl(element, option, painter, widget);
    if (element == CE_MenuItem && option->state.testFlag(State_Selected)) {
      mark(option->rect, painter);
    }
  }

  void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option,
                          QPainter* painter, const QWidget* widget) const override {
    QProxyStyle::drawComplexControl(control, option, painter, widget);
    if (control == CC_ComboBox && option->state.testFlag(State_HasFocus)) {
      mark(option->rect, painter);
    }
  }

 private:
  static void mark(const QRect& area, QPainter* painter) {
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    drawFocusRing(*painter, area, 2);
    painter->restore();
  }
};

QPalette panelPalette() {
  QPalette palette(paint::tile);
  palette.setColor(QPalette::Window, paint::tile);
  palette.setColor(QPalette::Button, QColor(0x3d, 0x43, 0x4c));
  palette.setColor(QPalette::WindowText, paint::text);
  palette.setColor(QPalette::ButtonText, paint::text);
  palette.setColor(QPalette::Base, Qt::white);
  palette.setColor(QPalette::Text, Qt::black);
  palette.setColor(QPalette::PlaceholderText, quiet_on_white);
  palette.setColor(QPalette::Highlight, QColor(0x27, 0x5a, 0xa8));
  palette.setColor(QPalette::HighlightedText, Qt::white);
  palette.setColor(QPalette::Link, paint::focus);
  palette.setColor(QPalette::Disabled, QPalette::WindowText, paint::disabled_text);
  palette.setColor(QPalette::Disabled, QPalette::ButtonText, paint::disabled_text);
  palette.setColor(QPalette::Disabled, QPalette::Text, quiet_on_white);
  return palette;
}

QPalette popupPalette() {
  QPalette palette = panelPalette();
  for (const QPalette::ColorRole role :
       {QPalette::Window, QPalette::Base, QPalette::Button, QPalette::ToolTipBase}) {
    palette.setColor(role, popup_ground);
  }
  for (const QPalette::ColorRole role :
       {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::ToolTipText}) {
    palette.setColor(role, paint::text);
    palette.setColor(QPalette::Disabled, role, disabled_on_popup);
  }
  return palette;
}

}  // namespace

void applyLook() {
  QApplication::setStyle(new PanelStyle);
  QApplication::setPalette(panelPalette());
  // The style draws it lighter than this, and the ring has to stand out from it.
  QPalette combo_box = panelPalette();
  combo_box.setColor(QPalette::Button, QColor(0x36, 0x3b, 0x44));
  QApplication::setPalette(combo_box, "QComboBox");
  for (const char* popup : {"QMenu", "QComboBoxPrivateContainer", "QComboBoxListView"}) {
    QApplication::setPalette(popupPalette(), popup);
  }
  QToolTip::setPalette(popupPalette());
}

}  // namespace talvane
