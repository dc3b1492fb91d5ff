#include "ui/kit/buttons.h"

#include <QKeyEvent>
#include <QPainter>

#include "ui/kit/focus_ring.h"
#include "ui/kit/hover_text.h"
#include "ui/kit/look.h"

namespace talvane {
namespace {

struct ButtonColours {
  QColor ground;
  QColor edge;
  QColor text;
};

ButtonColours toolbarColours(const QAbstractButton& button) {
  if (!button.isEnabled()) return {QColor(0, 0, 0, 60), Qt::transparent, paint::disabled_text};
  if (button.isDown()) return {QColor(0, 0, 0, 70), Qt::transparent, paint::text};
  if (button.underMouse()) return {QColor(0, 0, 0, 38), QColor(255, 255, 255, 70), paint::text};
  return {Qt::transparent, Qt::transparent, paint::text};
}

ButtonColours lightColours(const QAbstractButton& button) {
  if (button.isDown())
    return {QColor(0xc3, 0xd2, 0xe8), QColor(0x6f, 0x8c, 0xb8), paint::dark_text};
  if (button.underMouse()) {
    return {QColor(0xd8, 0xe3, 0xf3), QColor(0x7f, 0x9a, 0xc2), paint::dark_text};
  }
  return {QColor(0xe9, 0xee, 0xf6), QColor(0x9f, 0xb2, 0xcf), paint::dark_text};
}

ButtonColours tileColours(const QAbstractButton& button) {
  const QColor edge(255, 255, 255, 60);
  if (!button.isEnabled()) return {Qt::transparent, edge, paint::disabled_text};
  if (button.isDown()) return {QColor(0x22, 0x3c, 0x66), edge, paint::text};
  if (button.underMouse()) return {QColor(0x2f, 0x55, 0x92), edge, paint::text};
  return {QColor(0x27, 0x46, 0x79), edge, paint::text};
}

ButtonColours coloursOf(const QAbstractButton& button, PanelButton::Dress dress) {
  switch (dress) {
    case PanelButton::Dress::light:
      return lightColours(button);
    case PanelButton::Dress::tile:
      return tileColours(button);
    case PanelButton::Dress::toolbar:
      break;
  }
  return toolbarColours(button);
}

int textRoom(const QAbstractButton& button) {
  return button.width() - 4;
}

bool fits(const QAbstractButton& button, const QString& text, const QFont& font) {
  return QFontMetrics(font).horizontalAdvance(text) <= textRoom(button);
}

// A text that is too long for its button gets smaller letters before it is cut.
QFont fittingFont(const QAbstractButton& button) {
  constexpr int smallest = 10;
  QFont font = button.font();
  while (font.pixelSize() > smallest && !fits(button, button.text(), font)) {
    font.setPixelSize(font.pixelSize() - 1);
  }
  return font;
}

void drawButton(QAbstractButton& button, PanelButton::Dress dress) {
  const ButtonColours colours = coloursOf(button, dress);
  const qreal radius = dress == PanelButton::Dress::light ? 3 : 5;
  const QRect area = button.rect();
  QPainter painter(&button);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(colours.edge);
  painter.setBrush(colours.ground);
  painter.drawRoundedRect(QRectF(area).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
  if (button.hasFocus()) {
    drawFocusRing(painter, area, radius,
                  dress == PanelButton::Dress::light ? paint::focus_on_light : paint::focus);
  }
  painter.setPen(colours.text);
  const QFont font = fittingFont(button);
  painter.setFont(font);
  drawLine(painter, area, Qt::AlignHCenter,
           QFontMetrics(font).elidedText(button.text(), Qt::ElideRight, textRoom(button)));
}

constexpr int ring_room = 3;  // around the close button

}  // namespace

KeyedButton::KeyedButton(QWidget* parent) : QAbstractButton(parent) {
  setAttribute(Qt::WA_Hover);
}

void KeyedButton::keyPressEvent(QKeyEvent* event) {
  switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
      click();
      return;
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_Left:
    case Qt::Key_Right:
      // The panel handles the arrow keys.
      event->ignore();
      return;
    case Qt::Key_Space:
      if (!pressed_by_space_) {
        event->ignore();
        return;
      }
      [[fallthrough]];
    default:
      QAbstractButton::keyPressEvent(event);
  }
}

bool KeyedButton::event(QEvent* event) {
  // Hovering changes only its look.
  if (event->type() == QEvent::HoverEnter || event->type() == QEvent::HoverLeave) update();
  return QAbstractButton::event(event);
}

PanelButton::PanelButton(QWidget* parent) : KeyedButton(parent) {
  setFont(panelFont(12));
  setFocusPolicy(Qt::StrongFocus);
}

void PanelButton::setDress(Dress dress) {
  dress_ = dress;
  update();
}

void PanelButton::paintEvent(QPaintEvent* /*event*/) {
  drawButton(*this, dress_);
}

bool PanelButton::hasRoomFor(const QString& text) const {
  return fits(*this, text, font());
}

bool PanelButton::event(QEvent* event) {
  if (event->type() == QEvent::ToolTip) {
    const bool cut = !fits(*this, text(), fittingFont(*this));
    showHoverText(*this, *event, cut ? text() : QString());
    return true;
  }
  return KeyedButton::event(event);
}

AlertButton::AlertButton(const QString& text) : QPushButton(text) {
  setMinimumSize(80, 28);
}

void AlertButton::paintEvent(QPaintEvent* /*event*/) {
  drawButton(*this, PanelButton::Dress::tile);
}

// Around the button, which has no room for it.
class CloseButton::Ring final : public QWidget {
 public:
  explicit Ring(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("closering"));
    setAttribute(Qt::WA_TransparentForMouseEvents);
  }

 protected:
  void paintEvent(QPaintEvent* /*event*/) override {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(paint::focus, 2));
    painter.drawEllipse(QRectF(rect()).adjusted(1, 1, -1, -1));
  }
};

CloseButton::CloseButton(QWidget* parent) : KeyedButton(parent) {
  setFocusPolicy(Qt::TabFocus);
}

void CloseButton::paintEvent(QPaintEvent* /*event*/) {
  const bool lit = underMouse() || isDown() || hasFocus();
  QPainter painter(this);
  painter.drawPixmap(
      rect(),
      artwork(lit ? QStringLiteral("close-hover.png") : QStringLiteral("close.png"), *this));
}

void CloseButton::focusInEvent(QFocusEvent* event) {
  KeyedButton::focusInEvent(event);
  delete ring_;
  ring_ = new Ring(parentWidget());
  ring_->setGeometry(geometry().adjusted(-ring_room, -ring_room, ring_room, ring_room));
  ring_->stackUnder(this);
  ring_->show();
}

void CloseButton::focusOutEvent(QFocusEvent* event) {
  KeyedButton::focusOutEvent(event);
  delete ring_;
}

}  // namespace talvane
