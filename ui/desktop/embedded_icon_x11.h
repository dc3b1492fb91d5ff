#pragma once

#include <xcb/xcb.h>
#include <QAbstractNativeEventFilter>
#include <QIcon>
#include <QWidget>

namespace talvane {

/// An icon in a status area for embedded windows (System Tray Protocol of freedesktop.org), for
/// desktops on which the toolkit's own icon does not get single clicks. Hidden while there is no
/// such area.
class EmbeddedIcon final : public QWidget, private QAbstractNativeEventFilter {
 public:
  explicit EmbeddedIcon(QIcon image);
  ~EmbeddedIcon() override;

  /// Moves into the status area, if there is one now.
  void dock();

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;

  QIcon image_;
  xcb_window_t area_ = XCB_WINDOW_NONE;
};

}  // namespace talvane
