#include "ui/desktop/system_shortcut.h"

#include <functional>
#include <memory>
#include <optional>

#include "platform/shortcut.h"
#include "platform/translation.h"
#include "ui/desktop/global_shortcut.h"

namespace talvane {
namespace {

// The system's settings can bind a key to a service.
class NoShortcut final : public GlobalShortcut {
 public:
  void askWhetherPossible(std::function<void(bool possible)> told) override { told(false); }
  void set(const std::optional<Shortcut>& wish,
           std::function<void(const Result& result)> told) override {
    told(wish
             ? Result{translated("A shortcut for all programs is not possible on this desktop"), ""}
             : Result{});
  }
  void setPaused(bool /*paused*/) override {}
};

}  // namespace

std::unique_ptr<GlobalShortcut> systemGlobalShortcut(std::function<void()> /*pressed*/) {
  return std::make_unique<NoShortcut>();
}

}  // namespace talvane
