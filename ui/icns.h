#pragma once

#include <QByteArray>
#include <QIcon>
#include <QImage>
#include <QList>

namespace talvane {

/// The PNG pictures in an Apple icon image file; none when it is something else or damaged.
/// (A header "icns" and its length, then entries of four letters, the length of the whole entry,
/// both big-endian, and the picture.)
QList<QImage> icnsPictures(const QByteArray& file);

/// The program's icon, in all its sizes.
const QIcon& applicationIcon();
/// The program's icon for the status bar: 18 by 18 points.
QIcon statusIcon();

}  // namespace talvane
