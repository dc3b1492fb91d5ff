#include "engine/gateway.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "engine/text.h"

namespace talvane {
namespace {

std::uint32_t characterValue(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - 48U;
  if (c >= u'A' && c <= u'Z') return c - 55U;
  // Any other character wraps below zero or runs high, and is used as it comes.
  return c - 87U;
}

}  // namespace

Gateway::~Gateway() = default;

bool Gateway::inTrouble() {
  return false;
}

void Gateway::beginReadingSlots() {}
void Gateway::endReadingSlots() {}

std::uint32_t Gateway::GetDeviceId() {
  return deviceIdentity(GetDeviceId_SN() + GetDeviceId_HDSN() + GetDeviceId_USER());
}

std::int64_t Gateway::CurrentTime() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::floor<std::chrono::seconds>(now).count();
}

SlotReading::SlotReading(Gateway* gateway) : gateway_(gateway) {
  if (gateway_ != nullptr) gateway_->beginReadingSlots();
}

SlotReading::~SlotReading() {
  if (gateway_ != nullptr) gateway_->endReadingSlots();
}

std::uint32_t deviceIdentity(std::string_view identifiers) {
  std::uint32_t identity = 0;
  std::size_t i = 0;
  for (const char16_t c : utf16(identifiers)) {
    const std::uint32_t value = characterValue(c) << (4 * (i % 8));
    if (i % 7 == 0) {
      identity |= value;
    } else {
      identity ^= value;
    }
    ++i;
  }
  return identity & 0x7FFFFFFFU;
}

}  // namespace talvane
