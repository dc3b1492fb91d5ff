#include "platform/vaneinterface.h"

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <utility>

#include "engine/gateway.h"
#include "platform/device_identifiers.h"
#include "platform/keychain_service.h"
#include "platform/keychain_words.h"
#include "platform/ta_keychain.h"
#include "platform/trace.h"

namespace talvane {
namespace {

// The keychain answered: the item exists, or is missing.
bool isAnswer(KeychainStatus status) {
  return status == KeychainStatus::ok || status == KeychainStatus::item_not_found;
}

}  // namespace

vaneinterface::Recording::Recording(vaneinterface& gateway) : gateway_(gateway) {
  gateway_.recording_ = this;
}

vaneinterface::Recording::~Recording() {
  gateway_.recording_ = nullptr;
}

void vaneinterface::Recording::noteChange(const Answer& answer) {
  if (answer.status != KeychainStatus::ok && !failed_change_) failed_change_ = answer;
}

vaneinterface::vaneinterface(KeychainService& keychain, DeviceIdentifiers& identifiers, Clock clock)
    : keychain_(keychain), identifiers_(identifiers), clock_(std::move(clock)) {}

vaneinterface::Answer vaneinterface::answer(KeychainStatus status) {
  if (status == KeychainStatus::ok) return {};
  return {status, messageWithCode(keychain_, status)};
}

bool vaneinterface::KeyChainSave(const std::string& name, const Record& data) {
  const KeychainStatus status = save(name, data);
  in_trouble_ = status != KeychainStatus::ok;
  if (recording_ != nullptr) {
    recording_->has_saved_ = true;
    recording_->noteChange(answer(status));
  }
  return status == KeychainStatus::ok;
}

KeychainStatus vaneinterface::save(const std::string& name, const Record& data) {
  if (const auto failed = failed_loads_.find(name); failed != failed_loads_.end()) {
    return failed->second;
  }
  const std::string account = identifiers_.loginName();
  if (recording_ != nullptr && recording_->replaceable_.count(name) == 0) {
    const KeychainStatus found = keychain_.find(name, account, nullptr);
    if (found == KeychainStatus::ok) {
      recording_->refused_ = true;
      return KeychainStatus::duplicate_item;
    }
    if (found != KeychainStatus::item_not_found) return found;
  }
  Record with_identifiers = data;
  with_identifiers["fpsn"] = GetDeviceId_SN();
  with_identifiers["fphd"] = GetDeviceId_HDSN();
  with_identifiers["fpus"] = GetDeviceId_USER();
  return TaKeyChain(keychain_, name, account).storeDict(with_identifiers);
}

bool vaneinterface::KeyChainLoad(const std::string& name, Record* data) {
  const KeychainStatus status = TaKeyChain(keychain_, name, identifiers_.loginName()).getDict(data);
  if (recording_ != nullptr) {
    // A missing item is normal and frequent: no words for it.
    recording_->last_load_ = isAnswer(status) ? Answer{status, ""} : answer(status);
  }
  in_trouble_ = !isAnswer(status);
  if (in_trouble_) {
    failed_loads_[name] = status;
  } else {
    failed_loads_.erase(name);
  }
  return status == KeychainStatus::ok;
}

bool vaneinterface::KeyChainDelete(const std::string& name) {
  TaKeyChain item(keychain_, name, identifiers_.loginName());
  const KeychainStatus status = item.remove();
  const bool looked_up = isAnswer(item.lookup());
  in_trouble_ = status != KeychainStatus::ok || !looked_up;
  if (recording_ != nullptr) recording_->noteChange(answer(looked_up ? status : item.lookup()));
  // A record that is certainly gone needs no protection.
  if (!in_trouble_) failed_loads_.erase(name);
  return status == KeychainStatus::ok;
}

void vaneinterface::beginReadingSlots() {
  if (readings_++ == 0) keychain_.beginReading(identifiers_.loginName());
}

void vaneinterface::endReadingSlots() {
  if (--readings_ > 0) return;
  keychain_.endReading();
  identity_.reset();
}

std::string vaneinterface::GetDeviceId_SN() {
  return identifiers_.serialNumber();
}

std::string vaneinterface::GetDeviceId_HDSN() {
  return identifiers_.volumeUuid();
}

std::string vaneinterface::GetDeviceId_USER() {
  return identifiers_.user();
}

std::uint32_t vaneinterface::GetDeviceId() {
  if (readings_ == 0) return Gateway::GetDeviceId();
  if (!identity_) identity_ = Gateway::GetDeviceId();
  return *identity_;
}

std::int64_t vaneinterface::CurrentTime() {
  return clock_ ? clock_() : Gateway::CurrentTime();
}

bool vaneinterface::wantsLog() {
  return console_ || talibobjc_Trace::isOn();
}

void vaneinterface::log(std::string_view text) {
  talibobjc_Trace::traceNSString(text);
  if (!console_) return;
  std::string line(text);
  line += '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace talvane
