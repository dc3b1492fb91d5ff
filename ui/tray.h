#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>
#include <QSystemTrayIcon>
#include <functional>
#include <memory>

class QDBusServiceWatcher;

namespace talvane {

/// The program's one permanent face: the icon in the desktop's status area, by the
/// StatusNotifierItem protocol where the desktop has it, else by XEmbed. Where there is no status
/// area yet, the icon is there as soon as one appears.
class Tray : public QObject, private QAbstractNativeEventFilter {
  Q_OBJECT

 public:
  /// `clicked` is called when the left button is released over the icon.
  explicit Tray(std::function<void()> clicked);
  ~Tray() override;

  Q_SLOT void show();
  /// Whether there was a status area to show it in.
  [[nodiscard]] bool isShown() const { return icon_ != nullptr; }

 private:
  void waitForOne();
  bool eventFilter(QObject* watched, QEvent* event) override;
  bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;

  std::function<void()> clicked_;
  std::unique_ptr<QSystemTrayIcon> icon_;
  std::unique_ptr<QDBusServiceWatcher> watcher_;
};

}  // namespace talvane
