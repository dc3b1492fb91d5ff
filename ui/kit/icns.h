#pragma once

#include <QByteArray>
#include <QIcon>
#include <QList>

namespace talvane {

/// One image of an icon file: a whole PNG file and how wide it is.
struct IcnsImage {
  QByteArray png;
  int width = 0;
};

/// The PNG images in an Apple icon image file, not decoded; none when it is something else, and
/// those before the damage when it is damaged. They refer to the file's bytes, which the caller
/// keeps. (A header "icns" and its length, then entries of four letters, the length of the whole
/// entry, both big-endian, and the image.)
QList<IcnsImage> icnsImages(const QByteArray& file);

/// The program's icon, for windows and alerts.
const QIcon& applicationIcon();
/// The program's icon for the status bar: 18 by 18 points.
QIcon statusIcon();

}  // namespace talvane
