#include "engine/log.h"

namespace talvane {
namespace {

Gateway* log_gateway = nullptr;

}  // namespace

void EngineLog::setGateway(Gateway* gateway) {
  log_gateway = gateway;
}

bool EngineLog::isWanted() {
  return log_gateway != nullptr && log_gateway->wantsLog();
}

void EngineLog::write(std::string_view text) {
  log_gateway->log(text);
}

}  // namespace talvane
