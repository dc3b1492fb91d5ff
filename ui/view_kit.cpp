#include "ui/view_kit.h"

#include <QApplication>
#include <QFontDatabase>
#include <QKeyEvent>
#include <QPainter>
#include <QStyle>
#include <QStyleFactory>
#include <QStyleOption>
#include <QTextOption>
#include <utility>

namespace talvane {
namespace {

constexpr int longest_text = 2000;  // UTF-16 units

void drawFocusRing(QPainter& painter, const QRectF& around, qreal radius,
                   const QColor& colour = paint::focus) {
  painter.setPen(QPen(colour, 2));
  painter.setBrush(Qt::NoBrush);
  painter.drawRoundedRect(around.adjusted(1, 1, -1, -1), radius, radius);
}

struct ButtonColours {
  QColor ground;
  QColor edge;
  QColor text;
};

ButtonColours toolbarColours(const QAbstractButton& button) {
  if (!button.isEnabled()) return {Qt::transparent, Qt::transparent, paint::quiet_text};
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

QPalette panelPalette() {
  QPalette palette(paint::tile);
  palette.setColor(QPalette::Window, paint::tile);
  palette.setColor(QPalette::Button, QColor(0x3d, 0x43, 0x4c));
  palette.setColor(QPalette::WindowText, paint::text);
  palette.setColor(QPalette::ButtonText, paint::text);
  palette.setColor(QPalette::Base, Qt::white);
  palette.setColor(QPalette::Text, Qt::black);
  palette.setColor(QPalette::PlaceholderText, QColor(0x60, 0x66, 0x70));
  palette.setColor(QPalette::Highlight, QColor(0x27, 0x5a, 0xa8));
  palette.setColor(QPalette::HighlightedText, Qt::white);
  palette.setColor(QPalette::Link, paint::focus);
  return palette;
}

}  // namespace

void applyLook() {
  QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
  QApplication::setPalette(panelPalette());
}

QRect rectangle(const Frame& frame) {
  return {frame.x, frame.y, frame.width, frame.height};
}

Frame frameOf(const QRect& rectangle) {
  return {rectangle.x(), rectangle.y(), rectangle.width(), rectangle.height()};
}

QColor colour(const Colour& colour) {
  return QColor::fromRgbF(colour.red, colour.green, colour.blue);
}

QPixmap picture(const QString& name, const QWidget& shown_on) {
  const QString path = QStringLiteral(":/softtoken/") + name;
  if (shown_on.devicePixelRatioF() > 1) {
    QString twice = path;
    twice.insert(path.lastIndexOf(QLatin1Char('.')), QStringLiteral("@2x"));
    QPixmap sharp(twice);
    if (!sharp.isNull()) {
      sharp.setDevicePixelRatio(2);
      return sharp;
    }
  }
  return QPixmap(path);
}

QFont panelFont(int size, bool bold) {
  QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
  font.setPixelSize(size);
  font.setBold(bold);
  return font;
}

FlippedView::FlippedView(const Frame& frame, QWidget* parent) : QWidget(parent) {
  setGeometry(rectangle(frame));
}

FlippedImageView::FlippedImageView(const Frame& frame, QPixmap image, QWidget* parent)
    : QWidget(parent), image_(std::move(image)) {
  setGeometry(rectangle(frame));
}

void FlippedImageView::paintEvent(QPaintEvent* /*event*/) {
  QPainter(this).drawPixmap(0, 0, image_);
}

TiledImageView::TiledImageView(const Frame& frame, QWidget* parent) : QWidget(parent) {
  setGeometry(rectangle(frame));
}

void TiledImageView::setImage(const QPixmap& image) {
  _image = image;
  update();
}

void TiledImageView::paintEvent(QPaintEvent* /*event*/) {
  // Painting is clipped to what is to be redrawn; the pattern starts at the view's origin anyway.
  QPainter(this).drawTiledPixmap(rect(), _image);
}

TextLabel::TextLabel(QWidget* parent) : QLabel(parent) {
  setTextFormat(Qt::PlainText);
  setFont(panelFont(12));
}

void TextLabel::setTextColour(const QColor& colour) {
  if (colour == colour_) return;
  colour_ = colour;
  update();
}

void TextLabel::setFontSize(int size, bool bold) {
  setFont(panelFont(size, bold));
}

void TextLabel::showText(const QString& whole) {
  // A server says what it likes; more than this nobody reads, nor can it be laid out in time.
  const QString text =
      whole.size() > longest_text ? whole.left(longest_text) + QChar(0x2026) : whole;
  if (text == this->text()) return;
  setText(text);
  const QRect room = contentsRect();
  const bool cut =
      wordWrap() ? fontMetrics().boundingRect(room, Qt::TextWordWrap, text).height() > room.height()
                 : fontMetrics().horizontalAdvance(text) > room.width();
  setToolTip(cut ? text.toHtmlEscaped() : QString());
}

void TextLabel::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.setPen(colour_);
  painter.setFont(font());
  if (wordWrap()) {
    QTextOption option(alignment());
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    painter.drawText(QRectF(contentsRect()), text(), option);
    return;
  }
  painter.drawText(contentsRect(), static_cast<int>(alignment()) | Qt::TextSingleLine,
                   fontMetrics().elidedText(text(), Qt::ElideRight, contentsRect().width()));
}

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
      // Where the arrows lead is the panel's affair.
      event->ignore();
      return;
    default:
      QAbstractButton::keyPressEvent(event);
  }
}

bool KeyedButton::event(QEvent* event) {
  // Hover changes how it looks, though nothing else of it.
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
  const ButtonColours colours = coloursOf(*this, dress_);
  const qreal radius = dress_ == Dress::light ? 3 : 5;
  const QRectF area = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(colours.edge);
  painter.setBrush(colours.ground);
  painter.drawRoundedRect(area, radius, radius);
  if (hasFocus()) {
    drawFocusRing(painter, rect(), radius,
                  dress_ == Dress::light ? paint::focus_on_light : paint::focus);
  }
  painter.setPen(colours.text);
  painter.setFont(font());
  painter.drawText(rect(), Qt::AlignCenter,
                   fontMetrics().elidedText(text(), Qt::ElideRight, width() - 4));
}

bool PanelButton::event(QEvent* event) {
  if (event->type() == QEvent::ToolTip) {
    setToolTip(fontMetrics().horizontalAdvance(text()) > width() - 4 ? text().toHtmlEscaped()
                                                                     : QString());
  }
  return KeyedButton::event(event);
}

PanelField::PanelField(QWidget* parent) : QLineEdit(parent) {
  setFont(panelFont(12));
}

void PanelField::paintEvent(QPaintEvent* event) {
  QLineEdit::paintEvent(event);
  if (!hasFocus()) return;
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  drawFocusRing(painter, rect(), 2);
}

void forget(QLineEdit& field) {
  // clear() counts as typing, which can be undone.
  field.setText(QString());
}

PanelCheckbox::PanelCheckbox(QWidget* parent) : QCheckBox(parent) {}

void PanelCheckbox::paintEvent(QPaintEvent* event) {
  QCheckBox::paintEvent(event);
  if (!hasFocus()) return;
  QStyleOptionButton option;
  initStyleOption(&option);
  const QRect box = style()->subElementRect(QStyle::SE_CheckBoxIndicator, &option, this);
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  drawFocusRing(painter, box.adjusted(-3, -3, 3, 3).intersected(rect()), 3);
}

CloseButton::CloseButton(QWidget* parent) : KeyedButton(parent) {
  setFocusPolicy(Qt::TabFocus);
}

void CloseButton::paintEvent(QPaintEvent* /*event*/) {
  const bool lit = underMouse() || isDown() || hasFocus();
  QPainter painter(this);
  painter.drawPixmap(
      rect(),
      picture(lit ? QStringLiteral("close-hover.png") : QStringLiteral("close.png"), *this));
  if (!hasFocus()) return;
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(QPen(paint::focus, 1.5));
  painter.drawEllipse(QRectF(rect()).adjusted(1, 1, -1, -1));
}

}  // namespace talvane
