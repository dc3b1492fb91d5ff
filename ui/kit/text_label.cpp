#include "ui/kit/text_label.h"

#include <QPainter>
#include <QStringList>
#include <QTextOption>

#include <cmath>

#include "engine/text.h"
#include "ui/kit/accessible.h"
#include "ui/kit/hover_text.h"
#include "ui/kit/look.h"

namespace talvane {
namespace {

constexpr int longest_text = 2000;  // UTF-16 units
constexpr double line_pitch = 1.2;  // for a font of height 1

}  // namespace

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
  // A server can send any text. Nobody reads more than this, and its layout would take too long.
  const QString shown =
      QString::fromStdString(printableLines(whole.left(longest_text).toStdString()));
  const QString text = whole.size() > longest_text ? shown + QChar(0x2026) : shown;
  if (text == this->text()) return;
  setText(text);
  const QRect room = contentsRect();
  const bool cut =
      wordWrap() ? fontMetrics().boundingRect(room, Qt::TextWordWrap, text).height() > room.height()
                 : fontMetrics().horizontalAdvance(text) > room.width();
  setHoverText(*this, cut ? text : QString());
  if (!announced_) return;
  setAccessibleName(text);
  announceText(*this);
}

void TextLabel::setAnnounced() {
  announced_ = true;
  setAccessibleRole(*this, QAccessible::Notification);
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
  // Closer than the font's own lines, some of which lie far apart.
  const qreal pitch = std::round(font().pixelSize() * line_pitch);
  QStringList lines = text().split(QLatin1Char('\n'));
  QRectF band = contentsRect();
  if (pitch * static_cast<qreal>(lines.size()) > band.height()) {
    lines = QStringList(lines.join(QLatin1Char(' ')));
  } else if (lines.size() > 1) {
    band.setTop(band.center().y() - pitch * static_cast<qreal>(lines.size()) / 2);
    band.setHeight(pitch);
  }
  for (const QString& line : lines) {
    drawLine(painter, band, alignment(),
             fontMetrics().elidedText(line, Qt::ElideRight, contentsRect().width()));
    band.translate(0, pitch);
  }
}

}  // namespace talvane
