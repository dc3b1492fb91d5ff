#include "ui/icns.h"

#include <QFile>
#include <QPixmap>
#include <QtEndian>
#include <algorithm>

namespace talvane {
namespace {

constexpr qsizetype entry_header_size = 8;
constexpr int status_icon_size = 18;

const QList<QImage>& pictures() {
  static const QList<QImage> pictures = [] {
    QFile file(QStringLiteral(":/softtoken/Icon.icns"));
    return file.open(QIODevice::ReadOnly) ? icnsPictures(file.readAll()) : QList<QImage>();
  }();
  return pictures;
}

QPixmap scaledTo(int size) {
  const QImage* best = nullptr;
  for (const QImage& picture : pictures()) {
    if (best == nullptr || (best->width() < size && picture.width() > best->width()) ||
        (picture.width() >= size && picture.width() < best->width())) {
      best = &picture;
    }
  }
  if (best == nullptr) return {};
  return QPixmap::fromImage(
      best->scaled(size, size, Qt::KeepAspectRatio, Qt::SmoothTransformation));
}

}  // namespace

QList<QImage> icnsPictures(const QByteArray& file) {
  QList<QImage> pictures;
  if (!file.startsWith("icns")) return pictures;
  qsizetype position = entry_header_size;
  while (file.size() - position >= entry_header_size) {
    const qsizetype length = qFromBigEndian<quint32>(file.constData() + position + 4);
    if (length < entry_header_size || length > file.size() - position) break;
    const QImage picture = QImage::fromData(
        reinterpret_cast<const uchar*>(file.constData()) + position + entry_header_size,
        static_cast<int>(length - entry_header_size), "PNG");
    if (!picture.isNull()) pictures.append(picture);
    position += length;
  }
  return pictures;
}

const QIcon& applicationIcon() {
  static const QIcon icon = [] {
    QIcon result;
    for (const QImage& picture : pictures()) result.addPixmap(QPixmap::fromImage(picture));
    return result;
  }();
  return icon;
}

QIcon statusIcon() {
  QIcon icon(scaledTo(status_icon_size));
  QPixmap sharp = scaledTo(2 * status_icon_size);
  sharp.setDevicePixelRatio(2);
  icon.addPixmap(sharp);
  return icon;
}

}  // namespace talvane
