#include "ui/desktop/tray.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>

#include <chrono>
#include <functional>
#include <memory>
#include <utility>

#include "ui/desktop/item_place.h"
#include "ui/desktop/pointer.h"
#include "ui/desktop/status_area.h"
#include "ui/kit/frame.h"

namespace talvane {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds at_once{30};

}  // namespace

Tray::Tray(QIcon image, Actions actions) : image_(std::move(image)), actions_(std::move(actions)) {}

Tray::~Tray() {
  qApp->removeEventFilter(this);
}

void Tray::show(const Texts& texts, bool can_add) {
  open_text_ = texts.open;
  close_text_ = texts.close;
  menu_.setObjectName(QStringLiteral("statusmenu"));
  menu_.clear();
  open_ = menu_.addAction(texts.open, this, [this] { actions_.open(); });
  menu_.addAction(texts.add, this, [this] { actions_.add(); })->setEnabled(can_add);
  menu_.addAction(texts.help, this, [this] { actions_.help(); });
  menu_.addSeparator();
  menu_.addAction(texts.exit, this, [this] { actions_.exit(); });
  showIcon();
}

void Tray::showIcon() {
  if (isShown()) return;
  // The toolkit looks for the kind of status area only once, so wait until there is one.
  if (area_ == nullptr) {
    area_ = systemStatusArea();
    if (!area_->isThere()) {
      area_->watch([this] { showIcon(); });
      return;
    }
  } else if (!area_->isThere()) {
    return;
  }
  qApp->installEventFilter(this);
  own_icon_ = area_->makeIcon(image_);
  if (own_icon_ != nullptr) {
    connect(own_icon_.get(), &QWidget::customContextMenuRequested, this,
            [this](const QPoint& place) { popUpMenu(own_icon_->mapToGlobal(place)); });
    return;
  }
  icon_ = std::make_unique<QSystemTrayIcon>(image_);
  icon_->setToolTip(QStringLiteral("Talvane Soft Token"));
  if (area_->hasMenus()) icon_->setContextMenu(&menu_);
  connect(icon_.get(), &QSystemTrayIcon::activated, this,
          [this](QSystemTrayIcon::ActivationReason reason) {
            if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick) {
              clicked(isSecondClick());
            }
          });
  icon_->show();
}

// GNOME has the mouse and the keyboard when it hands on the click, and under XWayland keeps them:
// the menu would get neither keys nor clicks beside it. A window of the program gets the keyboard,
// passes keys on to the menu, and ends it when the user goes elsewhere.
void Tray::popUpMenu(const QPoint& place) {
  if (keyboard_window_ == nullptr) {
    keyboard_window_ = std::make_unique<QWidget>(nullptr, Qt::Tool | Qt::FramelessWindowHint);
    keyboard_window_->setAttribute(Qt::WA_TranslucentBackground);
    keyboard_window_->setAttribute(Qt::WA_QuitOnClose, false);
    keyboard_window_->setFixedSize(1, 1);
    connect(&menu_, &QMenu::aboutToHide, keyboard_window_.get(), &QWidget::hide);
    connect(qApp, &QGuiApplication::applicationStateChanged, &menu_,
            [this](Qt::ApplicationState state) {
              if (state != Qt::ApplicationActive) menu_.close();
            });
  }
  keyboard_window_->move(place);
  keyboard_window_->show();
  keyboard_window_->activateWindow();
  menu_.popup(place);
}

void Tray::setOpen(bool open) {
  is_open_ = open;
  opened_at_ = Clock::now();
  if (open_ != nullptr) open_->setText(open ? close_text_ : open_text_);
}

// A desktop does not tell when it was. What came while the panel opened is handled just after.
bool Tray::isSecondClick() {
  const auto now = Clock::now();
  const bool is_second = now - std::exchange(last_click_, now) < double_click ||
                         (is_open_ && now - opened_at_ < at_once);
  if (is_second) last_click_ = {};
  return is_second;
}

// By the display's clock. Some status areas hand clicks on without a time.
bool Tray::isSecondClickAt(unsigned long time) {
  if (time == 0) return isSecondClick();
  const bool is_second = time - last_click_time_ < static_cast<unsigned long>(double_click.count());
  last_click_time_ = is_second ? 0 : time;
  return is_second;
}

void Tray::clicked(bool is_second) {
  is_click_ = true;
  if (is_second) {
    actions_.second_click();
  } else {
    actions_.click();
  }
  is_click_ = false;
}

// Some status areas hand on keys when the icon is chosen by the keyboard. The panel would get the
// release that follows a press.
bool Tray::released(const QKeyEvent& event) {
  const bool chooses =
      event.key() == Qt::Key_Return || event.key() == Qt::Key_Enter || event.key() == Qt::Key_Space;
  if (chooses && !event.isAutoRepeat()) clicked(false);
  return chooses;
}

ItemPlace Tray::place() const {
  ItemPlace place;
  if (icon_ != nullptr && !icon_->geometry().isEmpty()) {
    const QRect icon = icon_->geometry();
    place.icon = Frame{icon.x(), icon.y(), icon.width(), icon.height()};
  }
  place.clicked = is_click_;
  if (is_click_) place.pointer = pointer();
  return place;
}

// An embedded icon reports the press, but the release counts.
bool Tray::eventFilter(QObject* watched, QEvent* event) {
  switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseButtonRelease:
    case QEvent::KeyRelease:
    case QEvent::ToolTip:
      break;
    default:
      return false;
  }
  if (watched->objectName() != QLatin1String("QSystemTrayIconSys")) return false;
  // It would lie over the panel.
  if (event->type() == QEvent::ToolTip) return is_open_;
  if (event->type() == QEvent::KeyRelease) return released(*static_cast<QKeyEvent*>(event));
  const auto* mouse = static_cast<QMouseEvent*>(event);
  if (mouse->button() != Qt::LeftButton) return false;
  if (event->type() == QEvent::MouseButtonRelease) {
    clicked(isSecondClickAt(mouse->timestamp()));
  }
  return true;
}

}  // namespace talvane
