#pragma once

#include <QIcon>
#include <QObject>
#include <QSystemTrayIcon>

#include <functional>
#include <memory>

#include "ui/desktop/status_area.h"

namespace talvane {

/// The program's icon in the desktop's status area, by the StatusNotifierItem protocol if the
/// desktop has it, else by XEmbed. If there is no status area yet, the icon appears as soon as one
/// does.
class Tray : public QObject {
 public:
  /// Calls `clicked` when the left button is released over the icon.
  Tray(QIcon image, std::function<void()> clicked);
  ~Tray() override;

  void show();
  /// Whether a status area shows it.
  [[nodiscard]] bool isShown() const { return icon_ != nullptr; }

 private:
  bool eventFilter(QObject* watched, QEvent* event) override;

  QIcon image_;
  std::function<void()> clicked_;
  std::unique_ptr<StatusArea> area_;
  std::unique_ptr<QSystemTrayIcon> icon_;
};

}  // namespace talvane
