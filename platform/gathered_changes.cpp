#include "platform/gathered_changes.h"

#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include "platform/keychain_service.h"

namespace talvane {

bool GatheredChanges::Order::operator()(const Name& a, const Name& b) const {
  const auto key = [](const Name& name) {
    return std::tuple(name.second, name.first.size(), name.first);
  };
  return key(a) < key(b);
}

GatheredChanges::GatheredChanges(std::unique_ptr<KeychainService> keychain)
    : keychain_(std::move(keychain)) {}

KeychainStatus GatheredChanges::find(const std::string& service, const std::string& account,
                                     SecretBytes* secret) {
  const auto change = changes_.find({service, account});
  if (change == changes_.end()) return keychain_->find(service, account, secret);
  if (!change->second.secret) return KeychainStatus::item_not_found;
  if (secret != nullptr) *secret = *change->second.secret;
  return KeychainStatus::ok;
}

// Notes the change if looking for the item ends as wanted.
KeychainStatus GatheredChanges::gather(const Name& name, KeychainStatus wanted,
                                       const SecretBytes* secret) {
  const KeychainStatus found = find(name.first, name.second, nullptr);
  if (found != wanted) return found == KeychainStatus::ok ? KeychainStatus::duplicate_item : found;
  const auto [change, is_first] = changes_.try_emplace(name);
  if (is_first) change->second.existed = found == KeychainStatus::ok;
  change->second.secret =
      secret != nullptr ? std::optional<SecretBytes>(*secret) : std::optional<SecretBytes>();
  return KeychainStatus::ok;
}

KeychainStatus GatheredChanges::add(const std::string& service, const std::string& account,
                                    const SecretBytes& secret) {
  if (!changing_) return keychain_->add(service, account, secret);
  return gather({service, account}, KeychainStatus::item_not_found, &secret);
}

KeychainStatus GatheredChanges::replace(const std::string& service, const std::string& account,
                                        const SecretBytes& secret) {
  if (!changing_) return keychain_->replace(service, account, secret);
  return gather({service, account}, KeychainStatus::ok, &secret);
}

KeychainStatus GatheredChanges::remove(const std::string& service, const std::string& account) {
  if (!changing_) return keychain_->remove(service, account);
  return gather({service, account}, KeychainStatus::ok, nullptr);
}

std::string GatheredChanges::message(KeychainStatus status) {
  return keychain_->message(status);
}

KeychainDescription GatheredChanges::describe() {
  return keychain_->describe();
}

void GatheredChanges::beginReading(const std::string& account) {
  keychain_->beginReading(account);
}

void GatheredChanges::endReading() {
  keychain_->endReading();
}

KeychainStatus GatheredChanges::beginChange() {
  changes_.clear();
  const KeychainStatus status = keychain_->beginChange();
  changing_ = status == KeychainStatus::ok;
  return status;
}

KeychainStatus GatheredChanges::endChange() {
  changing_ = false;
  KeychainStatus status = write();
  if (status == KeychainStatus::ok) status = readBack();
  if (status == KeychainStatus::ok) status = removeOld();
  changes_.clear();
  if (status == KeychainStatus::ok) return keychain_->endChange();
  keychain_->abandonChange();
  return status;
}

void GatheredChanges::abandonChange() {
  if (!changing_) return;
  changing_ = false;
  changes_.clear();
  keychain_->abandonChange();
}

KeychainStatus GatheredChanges::write() {
  for (const auto& [name, change] : changes_) {
    if (!change.secret) continue;
    const KeychainStatus status = change.existed
                                      ? keychain_->replace(name.first, name.second, *change.secret)
                                      : keychain_->add(name.first, name.second, *change.secret);
    if (status != KeychainStatus::ok) return status;
  }
  return KeychainStatus::ok;
}

KeychainStatus GatheredChanges::readBack() {
  KeychainStatus status = KeychainStatus::ok;
  const std::string* reading = nullptr;  // the account whose items are being read
  for (const auto& [name, change] : changes_) {
    if (!change.secret) continue;
    if (reading == nullptr || *reading != name.second) {
      if (reading != nullptr) keychain_->endReading();
      reading = &name.second;
      keychain_->beginReading(*reading);
    }
    SecretBytes stored;
    status = keychain_->find(name.first, name.second, &stored);
    if (status == KeychainStatus::item_not_found ||
        (status == KeychainStatus::ok && stored.get() != change.secret->get())) {
      status = KeychainStatus::io_error;
    }
    if (status != KeychainStatus::ok) break;
  }
  if (reading != nullptr) keychain_->endReading();
  return status;
}

// The highest first, so that no gap arises.
KeychainStatus GatheredChanges::removeOld() {
  for (auto entry = changes_.rbegin(); entry != changes_.rend(); ++entry) {
    const auto& [name, change] = *entry;
    if (change.secret || !change.existed) continue;
    const KeychainStatus status = keychain_->remove(name.first, name.second);
    if (status != KeychainStatus::ok && status != KeychainStatus::item_not_found) return status;
  }
  return KeychainStatus::ok;
}

}  // namespace talvane
