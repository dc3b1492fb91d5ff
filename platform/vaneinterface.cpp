#include "platform/vaneinterface.h"

#include <fmt/core.h>

#include <cstdio>

#include "platform/ta_keychain.h"
#include "platform/trace.h"

namespace talvane {
namespace {

// Found, or found to be missing: the keychain is well.
bool isAnswer(KeychainStatus status) {
  return status == KeychainStatus::ok || status == KeychainStatus::item_not_found;
}

}  // namespace

bool vaneinterface::Outcome::answered() const {
  return isAnswer(status) || status == KeychainStatus::cannot_decode;
}

std::string vaneinterface::Outcome::words() const {
  return error.starts_with("ERR ") ? error.substr(4) : error;
}

vaneinterface::vaneinterface(KeychainService& keychain, DeviceIdentifiers& identifiers)
    : keychain_(keychain), identifiers_(identifiers) {}

vaneinterface::Outcome vaneinterface::failure(KeychainStatus status) {
  return {status, fmt::format("ERR {} [{}]", keychain_.message(status), static_cast<int>(status))};
}

void vaneinterface::forgetOutcomes() {
  has_saved_ = false;
  last_save_ = {};
  last_delete_ = {};
}

bool vaneinterface::KeyChainSave(const std::string& name, const Record& data) {
  has_saved_ = true;
  if (const auto failed = failed_loads_.find(name); failed != failed_loads_.end()) {
    in_trouble_ = true;
    last_save_ = failure(failed->second);
    return false;
  }
  Record with_identifiers = data;
  with_identifiers["fpsn"] = GetDeviceId_SN();
  with_identifiers["fphd"] = GetDeviceId_HDSN();
  with_identifiers["fpus"] = GetDeviceId_USER();
  TaKeyChain item(keychain_, name, identifiers_.loginName());
  const KeychainStatus status = item.storeDict(with_identifiers);
  in_trouble_ = status != KeychainStatus::ok;
  last_save_ = {status, item.error()};
  return status == KeychainStatus::ok;
}

bool vaneinterface::KeyChainLoad(const std::string& name, Record* data) {
  TaKeyChain item(keychain_, name, identifiers_.loginName());
  const KeychainStatus status = item.getDict(data);
  last_load_ = {status, item.error()};
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
  in_trouble_ = status != KeychainStatus::ok || !isAnswer(item.lookup());
  last_delete_ = isAnswer(item.lookup()) ? Outcome{status, item.error()} : failure(item.lookup());
  // What is gone for certain need not be protected.
  if (!in_trouble_) failed_loads_.erase(name);
  return status == KeychainStatus::ok;
}

void vaneinterface::beginReadingSlots() {
  keychain_.beginReading(identifiers_.loginName());
  reading_slots_ = true;
}

void vaneinterface::endReadingSlots() {
  keychain_.endReading();
  reading_slots_ = false;
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
  if (!reading_slots_) return Gateway::GetDeviceId();
  if (!identity_) identity_ = Gateway::GetDeviceId();
  return *identity_;
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
