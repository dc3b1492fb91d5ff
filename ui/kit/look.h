#pragma once

// The look of the program: colours, fonts, images.

#include <QColor>
#include <QFont>
#include <QPainter>
#include <QPixmap>
#include <QRect>
#include <QRectF>
#include <QString>
#include <QWidget>

#include "engine/vane.h"
#include "ui/kit/frame.h"

namespace talvane {

QRect rectangle(const Frame& frame);
Frame frameOf(const QRect& rectangle);
QColor colour(const Colour& colour);

/// The program's image of this name, at the resolution of the widget's screen; empty if missing.
QPixmap artwork(const QString& name, const QWidget& shown_on);

/// The panel's colours.
namespace paint {
inline const QColor text{0xff, 0xff, 0xff};
inline const QColor quiet_text{0xc3, 0xcb, 0xd8};
inline const QColor disabled_text{0x98, 0xa2, 0xb3};
inline const QColor dark_text{0x16, 0x34, 0x5f};
inline const QColor error{0xff, 0x8a, 0x80};
inline const QColor error_on_light{0xa8, 0x1c, 0x14};
inline const QColor tile{0x2b, 0x2e, 0x33};
inline const QColor focus{0x8f, 0xc0, 0xff};
inline const QColor focus_on_light{0x1f, 0x5f, 0xbf};
}  // namespace paint

/// Draws one line of text between these sides, its capitals and digits in the middle of the band's
/// height whatever room the font leaves above and below them.
void drawLine(QPainter& painter, const QRectF& band, Qt::Alignment side, const QString& text);

/// The panel's font, bold or plain, at this size in points.
QFont panelFont(int size, bool bold = false);

}  // namespace talvane
