#pragma once

#include <QByteArray>
#include <QIcon>
#include <QList>

namespace talvane {

/// One image of an icon file: a whole PNG file, and its width in pixels.
struct IcnsImage {
  QByteArray png;
  int width = 0;
};

/// The PNG images in an Apple icon image file, not decoded: none if it is another kind of file,
/// those before the damage if it is damaged. They refer to the file's bytes, which the caller
/// keeps. (The format: a header "icns" and the file's length; then entries, each of a four-letter
/// type, the length of the entry, and the image. Lengths are big-endian.)
QList<IcnsImage> icnsImages(const QByteArray& file);

/// The program's icon, for windows and alerts.
const QIcon& applicationIcon();
/// The program's icon of this many points, as sharp on a 2x screen.
QIcon applicationIcon(int size);

}  // namespace talvane
