#pragma once

#include <QAction>
#include <QIcon>
#include <QMenu>
#include <QObject>
#include <QString>
#include <QSystemTrayIcon>
#include <QWidget>

#include <chrono>
#include <functional>
#include <memory>

#include "ui/desktop/item_place.h"
#include "ui/desktop/status_area.h"

namespace talvane {

/// The program's icon in the desktop's status area, by the StatusNotifierItem protocol if the
/// desktop has it, else by XEmbed, with a menu. If there is no status area yet, the icon appears as
/// soon as one does.
class Tray : public QObject {
 public:
  struct Actions {
    std::function<void()> click;         // the left button was released
    std::function<void()> second_click;  // so soon that it made a double click
    std::function<void()> open;
    std::function<void()> add;
    std::function<void()> help;
    std::function<void()> exit;
  };
  struct Texts {
    QString open;
    QString close;
    QString add;
    QString help;
    QString exit;
  };
  /// Two clicks within this time are a double click.
  inline static std::chrono::milliseconds double_click{250};

  Tray(QIcon image, Actions actions);
  ~Tray() override;

  /// Without an entry to add tokens if `can_add` is false.
  void show(const Texts& texts, bool can_add);
  /// Whether a status area shows it.
  [[nodiscard]] bool isShown() const { return icon_ != nullptr || own_icon_ != nullptr; }
  /// Follows the panel.
  void setOpen(bool open);

  /// For the click that is being handled, if one is.
  [[nodiscard]] ItemPlace place() const;

 private:
  bool eventFilter(QObject* watched, QEvent* event) override;
  void showIcon();
  void popUpMenu(const QPoint& place);
  void clicked(bool is_second);
  bool released(const QKeyEvent& event);
  [[nodiscard]] bool isSecondClick();
  [[nodiscard]] bool isSecondClickAt(unsigned long time);

  QIcon image_;
  Actions actions_;
  QString open_text_;
  QString close_text_;
  QMenu menu_;
  std::unique_ptr<QWidget> keyboard_window_;
  QAction* open_ = nullptr;
  std::unique_ptr<QWidget> own_icon_;  // watched by the area
  std::unique_ptr<StatusArea> area_;
  std::unique_ptr<QSystemTrayIcon> icon_;
  std::chrono::steady_clock::time_point last_click_;
  std::chrono::steady_clock::time_point opened_at_;
  unsigned long last_click_time_ = 0;  // of an embedded icon, by the display's clock
  bool is_open_ = false;
  bool is_click_ = false;
};

}  // namespace talvane
