#include "ui/desktop/status_area.h"

namespace talvane {
namespace {

// The menu bar always exists.
class MenuBar final : public StatusArea {
 public:
  bool isThere() override { return true; }
  void watch(std::function<void()> /*appeared*/) override {}
};

}  // namespace

std::unique_ptr<StatusArea> systemStatusArea() {
  return std::make_unique<MenuBar>();
}

}  // namespace talvane
