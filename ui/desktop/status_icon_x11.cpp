#include <QIconEngine>
#include <QPainter>
#include <QStandardPaths>

#include <utility>

#include "ui/desktop/current_desktop.h"
#include "ui/desktop/status_icon.h"

namespace talvane {
namespace {

// Xfce's status area scales the largest image that a program hands over. By this name it finds the
// installed ones in all sizes. (LXQt's would scale those, but takes the right one of several.)
class InstalledIcon final : public QIconEngine {
 public:
  explicit InstalledIcon(QIcon images) : images_(std::move(images)) {}

  QString iconName() override { return QStringLiteral("softtoken"); }
  QIconEngine* clone() const override { return new InstalledIcon(images_); }
  void paint(QPainter* painter, const QRect& place, QIcon::Mode mode, QIcon::State state) override {
    images_.paint(painter, place, Qt::AlignCenter, mode, state);
  }
  QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
    return images_.pixmap(size, 1.0, mode, state);
  }
  QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State state,
                       qreal scale) override {
    return images_.pixmap(size / scale, scale, mode, state);
  }
  QSize actualSize(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
    return images_.actualSize(size, mode, state);
  }
  QList<QSize> availableSizes(QIcon::Mode mode, QIcon::State state) override {
    return images_.availableSizes(mode, state);
  }

 private:
  QIcon images_;
};

bool isInstalled() {
  return !QStandardPaths::locate(QStandardPaths::GenericDataLocation,
                                 QStringLiteral("icons/hicolor/24x24/apps/softtoken.png"))
              .isEmpty();
}

}  // namespace

// Each status area has its own size, and shows that of a 2x screen at twice the pixels. A drawing
// that is not of the exact size gets blurred.
QIcon statusIcon() {
  QIcon icon;
  for (const int size : {16, 18, 22, 24, 32, 36, 44, 48, 64}) {
    icon.addFile(QStringLiteral(":/softtoken/status-%1.png").arg(size));
  }
  return isCurrentDesktop("XFCE") && isInstalled() ? QIcon(new InstalledIcon(icon)) : icon;
}

}  // namespace talvane
