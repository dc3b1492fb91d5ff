#include "ui/kit/icns.h"

#include <QPixmap>
#include <QResource>
#include <QtEndian>

namespace talvane {
namespace {

constexpr qsizetype entry_header_size = 8;
constexpr int window_icon_size = 64;

// A PNG file begins with its signature and the header chunk, which begins with the width.
constexpr qsizetype png_width_position = 16;

// The bytes that follow are the program's own and live as long as it.
const QByteArray& iconFile() {
  static const QByteArray bytes =
      QResource(QStringLiteral(":/softtoken/Icon.icns")).uncompressedData();
  return bytes;
}

// From the smallest image that is at least as large.
QPixmap scaledTo(int size) {
  IcnsImage best;
  for (const IcnsImage& image : icnsImages(iconFile())) {
    const bool nearer = best.width < size ? image.width > best.width
                                          : image.width >= size && image.width < best.width;
    if (nearer) best = image;
  }
  const QImage image = QImage::fromData(best.png, "PNG");
  if (image.isNull()) return {};
  return QPixmap::fromImage(
      image.scaled(size, size, Qt::KeepAspectRatio, Qt::SmoothTransformation));
}

}  // namespace

QList<IcnsImage> icnsImages(const QByteArray& file) {
  QList<IcnsImage> images;
  if (!file.startsWith("icns")) return images;
  qsizetype position = entry_header_size;
  while (file.size() - position >= entry_header_size) {
    const qsizetype length = qFromBigEndian<quint32>(file.constData() + position + 4);
    if (length < entry_header_size || length > file.size() - position) break;
    const char* image = file.constData() + position + entry_header_size;
    const qsizetype size = length - entry_header_size;
    position += length;
    if (size < png_width_position + 4 || QByteArray::fromRawData(image, 4) != "\x89PNG") continue;
    const auto width = qFromBigEndian<quint32>(image + png_width_position);
    images.append({QByteArray::fromRawData(image, size), static_cast<int>(width)});
  }
  return images;
}

const QIcon& applicationIcon() {
  static const QIcon icon = applicationIcon(window_icon_size);
  return icon;
}

QIcon applicationIcon(int size) {
  QIcon icon(scaledTo(size));
  QPixmap sharp = scaledTo(2 * size);
  sharp.setDevicePixelRatio(2);
  icon.addPixmap(sharp);
  return icon;
}

}  // namespace talvane
