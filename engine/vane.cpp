#include "engine/vane.h"

#include "engine/gateway.h"
#include "engine/log.h"

namespace talvane {

Gateway* vane::gateway_ = nullptr;

void vane::SetInterface(Gateway* gateway) {
  gateway_ = gateway;
  EngineLog::setGateway(gateway);
  clearIdentityCache();
}

Gateway* vane::interface() {
  return gateway_;
}

}  // namespace talvane
