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
#include "platform/translation.h"

namespace talvane {
namespace {

std::string textOf(const Record& record, std::string_view key) {
  const auto* text = valueOf<std::string>(record, key);
  return text == nullptr ? std::string() : *text;
}

Identity storedUnder(const Record& record) {
  return {textOf(record, "fpsn"), textOf(record, "fphd"), textOf(record, "fpus"), {}, {}};
}

// The keychain answered: the item exists, if damaged, or is missing.
bool isAnswer(KeychainStatus status) {
  return status == KeychainStatus::ok || status == KeychainStatus::item_not_found ||
         status == KeychainStatus::cannot_decode;
}

}  // namespace

vaneinterface::Recording::Recording(vaneinterface& gateway)
    : gateway_(gateway), identity_(gateway.identifiers_.read()) {
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

bool vaneinterface::Recording::hasSameIdentity() const {
  return gateway_.identifiers_.read() == identity_;
}

// One identity for a recording or a reading; otherwise that of the moment.
const Identity& vaneinterface::identity() {
  if (recording_ != nullptr) return recording_->identity_;
  if (reading_identity_) return *reading_identity_;
  return moment_identity_ = identifiers_.read();
}

vaneinterface::Answer vaneinterface::answer(KeychainStatus status) {
  if (status == KeychainStatus::ok) return {};
  if (const std::string& problem = identity().problem; !problem.empty()) {
    return {KeychainStatus::not_available,
            translatedWith("This computer's identity cannot be read: {}; fix that and try again",
                           problem)};
  }
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
  const Identity& now = identity();
  if (!now.problem.empty()) return KeychainStatus::not_available;
  const std::string& account = now.login_name;
  if (recording_ != nullptr && recording_->replaceable_.count(name) == 0) {
    const KeychainStatus found = keychain_.find(name, account, nullptr);
    if (found == KeychainStatus::ok) {
      recording_->refused_ = true;
      return KeychainStatus::duplicate_item;
    }
    if (found != KeychainStatus::item_not_found) return found;
  }
  Record with_identifiers = data;
  with_identifiers["fpsn"] = now.serial_number;
  with_identifiers["fphd"] = now.volume_uuid;
  with_identifiers["fpus"] = now.user;
  return TaKeyChain(keychain_, name, account).storeDict(with_identifiers);
}

bool vaneinterface::KeyChainLoad(const std::string& name, Record* data) {
  const Identity& now = identity();
  const KeychainStatus status = now.problem.empty()
                                    ? TaKeyChain(keychain_, name, now.login_name).getDict(data)
                                    : KeychainStatus::not_available;
  if (recording_ != nullptr) {
    recording_->stored_under_ = status == KeychainStatus::ok ? storedUnder(*data) : Identity();
    // A missing item is normal and frequent: no words for it.
    recording_->last_load_ =
        status == KeychainStatus::item_not_found ? Answer{status, ""} : answer(status);
  }
  in_trouble_ = !isAnswer(status);
  if (in_trouble_ || status == KeychainStatus::cannot_decode) {
    failed_loads_[name] = status;
  } else {
    failed_loads_.erase(name);
  }
  return status == KeychainStatus::ok;
}

bool vaneinterface::KeyChainDelete(const std::string& name) {
  const Identity& now = identity();
  if (!now.problem.empty()) {
    in_trouble_ = true;
    if (recording_ != nullptr) recording_->noteChange(answer(KeychainStatus::not_available));
    return false;
  }
  TaKeyChain item(keychain_, name, now.login_name);
  const KeychainStatus status = item.remove();
  const bool looked_up = isAnswer(item.lookup());
  in_trouble_ = status != KeychainStatus::ok || !looked_up;
  if (recording_ != nullptr) recording_->noteChange(answer(looked_up ? status : item.lookup()));
  // A record that is certainly gone needs no protection.
  if (!in_trouble_) failed_loads_.erase(name);
  return status == KeychainStatus::ok;
}

void vaneinterface::beginReadingSlots() {
  if (readings_++ > 0) return;
  reading_identity_ = identity();
  keychain_.beginReading(reading_identity_->login_name);
}

void vaneinterface::endReadingSlots() {
  if (--readings_ > 0) return;
  keychain_.endReading();
  reading_identity_.reset();
  reading_number_.reset();
}

std::string vaneinterface::GetDeviceId_SN() {
  return identity().serial_number;
}

std::string vaneinterface::GetDeviceId_HDSN() {
  return identity().volume_uuid;
}

std::string vaneinterface::GetDeviceId_USER() {
  return identity().user;
}

std::uint32_t vaneinterface::GetDeviceId() {
  if (readings_ == 0) return Gateway::GetDeviceId();
  if (!reading_number_) reading_number_ = Gateway::GetDeviceId();
  return *reading_number_;
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
