#pragma once

#include <QIcon>
#include <QObject>
#include <QSystemTrayIcon>
#include <functional>
#include <memory>

#include "ui/desktop/status_area.h"

namespace talvane {

/// The program's one permanent face: the icon in the desktop's status area, by the
/// StatusNotifierItem protocol where the desktop has it, else by XEmbed. Where there is no status
/// area yet, the icon is there as soon as one appears.
class Tray : public QObject {
 public:
  /// `clicked` is called when the left button is released over the icon.
  Tray(QIcon image, std::function<void()> clicked);
  ~Tray() override;

  void show();
  /// Whether there was a status area to show it in.
  [[nodiscard]] bool isShown() const { return icon_ != nullptr; }

 private:
  bool eventFilter(QObject* watched, QEvent* event) override;

  QIcon image_;
  std::function<void()> clicked_;
  std::unique_ptr<StatusArea> area_;
  std::unique_ptr<QSystemTrayIcon> icon_;
};

}  // namespace talvane
