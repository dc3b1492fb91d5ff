#include "ui/desktop/tray.h"

#include <QApplication>
#include <QMouseEvent>

#include <functional>
#include <memory>
#include <utility>

#include "ui/desktop/status_area.h"

namespace talvane {

Tray::Tray(QIcon image, std::function<void()> clicked)
    : image_(std::move(image)), clicked_(std::move(clicked)) {}

Tray::~Tray() {
  qApp->removeEventFilter(this);
}

void Tray::show() {
  if (icon_ != nullptr) return;
  // The toolkit looks for the kind of status area only once, so wait until there is one.
  if (area_ == nullptr) {
    area_ = systemStatusArea();
    if (!area_->isThere()) {
      area_->watch([this] { show(); });
      return;
    }
  } else if (!area_->isThere()) {
    return;
  }
  qApp->installEventFilter(this);
  icon_ = std::make_unique<QSystemTrayIcon>(image_);
  icon_->setToolTip(QStringLiteral("Talvane Soft Token"));
  connect(icon_.get(), &QSystemTrayIcon::activated, this,
          [this](QSystemTrayIcon::ActivationReason reason) {
            if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick) {
              clicked_();
            }
          });
  icon_->show();
}

// An embedded icon reports the press, but the release counts.
bool Tray::eventFilter(QObject* watched, QEvent* event) {
  switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseButtonRelease:
      break;
    default:
      return false;
  }
  if (watched->objectName() != QLatin1String("QSystemTrayIconSys")) return false;
  if (static_cast<QMouseEvent*>(event)->button() != Qt::LeftButton) return false;
  if (event->type() == QEvent::MouseButtonRelease) clicked_();
  return true;
}

}  // namespace talvane
