#include "engine/log.h"

#include <string_view>

#include "engine/gateway.h"

namespace talvane {
namespace {

Gateway* log_gateway = nullptr;
thread_local int log_pauses = 0;

}  // namespace

void EngineLog::setGateway(Gateway* gateway) {
  log_gateway = gateway;
}

bool EngineLog::isWanted() {
  return log_gateway != nullptr && log_pauses == 0 && log_gateway->wantsLog();
}

EngineLog::Pause::Pause() {
  ++log_pauses;
}

EngineLog::Pause::~Pause() {
  --log_pauses;
}

void EngineLog::write(std::string_view text) {
  log_gateway->log(text);
}

}  // namespace talvane
