#include "ui/desktop/status_area.h"

namespace talvane {
namespace {

// The menu bar always exists.
class MenuBar final : public StatusArea {
 public:
  bool isThere() override { return true; }
  // A left click would open it.
  [[nodiscard]] bool hasMenus() const override { return false; }
  std::unique_ptr<QWidget> makeIcon(const QIcon& /*image*/) override { return nullptr; }
  void watch(std::function<void()> /*appeared*/) override {}
};

}  // namespace

std::unique_ptr<StatusArea> systemStatusArea() {
  return std::make_unique<MenuBar>();
}

}  // namespace talvane
