#pragma once

#include <QIcon>
#include <QWidget>

#include <functional>
#include <memory>

namespace talvane {

/// The part of the desktop that shows programs' icons.
class StatusArea {
 public:
  virtual ~StatusArea() = default;
  [[nodiscard]] virtual bool isThere() = 0;
  /// Whether a click on an icon with a menu is still a click.
  [[nodiscard]] virtual bool hasMenus() const = 0;
  /// An icon to use instead of the toolkit's, where that would not get single clicks; null where it
  /// does.
  virtual std::unique_ptr<QWidget> makeIcon(const QIcon& image) = 0;
  /// Calls back from the event loop when one may have appeared, until this object is destroyed.
  virtual void watch(std::function<void()> appeared) = 0;
};

std::unique_ptr<StatusArea> systemStatusArea();

}  // namespace talvane
