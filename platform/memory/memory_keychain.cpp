#include "platform/memory/memory_keychain.h"

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
  switch (failure) {
    case KeychainStatus::ok:
      return "All is well with the keychain in memory";
    case KeychainStatus::disk_full:
      return "There is no room in the keychain in memory; remove an item first";
    case KeychainStatus::io_error:
      return "The keychain in memory failed; try again";
    case KeychainStatus::write_permission:
      return "Writing is not allowed to the keychain in memory; try another";
    case KeychainStatus::not_available:
      return "The keychain in memory cannot be reached; try again";
    case KeychainStatus::no_default_keychain:
      return "The keychain in memory has no collection to store into; make one";
    case KeychainStatus::interaction_not_allowed:
      return "The keychain in memory is locked; unlock it";
    case KeychainStatus::duplicate_item:
      return "The keychain in memory already holds an item of that name; remove it first";
    case KeychainStatus::item_not_found:
      return "The keychain in memory holds no item of that name; add it first";
    case KeychainStatus::cannot_decode:
      return "The item in the keychain in memory is damaged; remove it and add it anew";
    case KeychainStatus::invalid_keychain:
      return "The keychain in memory is damaged; start anew";
    case KeychainStatus::not_responding:
      return "The keychain in memory has not answered for two seconds; try again";
  }
  return "The keychain in memory met an unknown error; try again";
}

KeychainDescription MemoryKeychain::describe() {
  return {"memory", "", status};
}

}  // namespace talvane
