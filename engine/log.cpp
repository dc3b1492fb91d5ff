#include "engine/vane.h"

namespace talvane {

Gateway* vane::gateway_ = nullptr;

void vane::SetInterface(Gateway* gateway) {
  gateway_ = gateway;
  clearIdentityCache();
}

Gateway* vane::interface() {
  return gateway_;
}

bool vane::wantsLog() {
  return gateway_ != nullptr && gateway_->wantsLog();
}

void vane::writeLog(std::string_view text) {
  gateway_->log(text);
}

}  // namespace talvane
