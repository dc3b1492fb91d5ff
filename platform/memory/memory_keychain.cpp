#include "platform/memory/memory_keychain.h"

#include "platform/keychain_words.h"

namespace talvane {

KeychainStatus MemoryKeychain::find(const std::string& service, const std::string& account,
                                    SecretBytes* secret) {
  if (status != KeychainStatus::ok) return status;
  const auto item = items.find({service, account});
  if (item == items.end()) return KeychainStatus::item_not_found;
  if (secret != nullptr) *secret = item->second;
  return KeychainStatus::ok;
}

KeychainStatus MemoryKeychain::add(const std::string& service, const std::string& account,
                                   const SecretBytes& secret) {
  if (status != KeychainStatus::ok) return status;
  const bool added = items.try_emplace({service, account}, secret).second;
  return added ? KeychainStatus::ok : KeychainStatus::duplicate_item;
}

KeychainStatus MemoryKeychain::replace(const std::string& service, const std::string& account,
                                       const SecretBytes& secret) {
  if (status != KeychainStatus::ok) return status;
  const auto item = items.find({service, account});
  if (item == items.end()) return KeychainStatus::item_not_found;
  item->second = secret;
  return KeychainStatus::ok;
}

KeychainStatus MemoryKeychain::remove(const std::string& service, const std::string& account) {
  if (status != KeychainStatus::ok) return status;
  return items.erase({service, account}) == 1 ? KeychainStatus::ok : KeychainStatus::item_not_found;
}

std::string MemoryKeychain::message(KeychainStatus failure) {
  return keychainWords("The keychain in memory", failure);
}

KeychainDescription MemoryKeychain::describe() {
  return {"memory", "", status};
}

}  // namespace talvane
