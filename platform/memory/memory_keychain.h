#pragma once

#include <map>
#include <string>
#include <utility>

#include "platform/keychain_service.h"
#include "platform/keychain_words.h"

namespace talvane {

/// A keychain in memory, for tests and benchmarks; no program links it.
class MemoryKeychain final : public KeychainService {
 public:
  std::map<std::pair<std::string, std::string>, SecretBytes> items;  // by service and account

  KeychainStatus find(const std::string& service, const std::string& account,
                      SecretBytes* secret) override {
    const auto item = items.find({service, account});
    if (item == items.end()) return KeychainStatus::item_not_found;
    if (secret != nullptr) *secret = item->second;
    return KeychainStatus::ok;
  }

  KeychainStatus add(const std::string& service, const std::string& account,
                     const SecretBytes& secret) override {
    const bool added = items.try_emplace({service, account}, secret).second;
    return added ? KeychainStatus::ok : KeychainStatus::duplicate_item;
  }

  KeychainStatus replace(const std::string& service, const std::string& account,
                         const SecretBytes& secret) override {
    const auto item = items.find({service, account});
    if (item == items.end()) return KeychainStatus::item_not_found;
    item->second = secret;
    return KeychainStatus::ok;
  }

  KeychainStatus remove(const std::string& service, const std::string& account) override {
    return items.erase({service, account}) == 1 ? KeychainStatus::ok
                                                : KeychainStatus::item_not_found;
  }

  std::string message(KeychainStatus failure) override {
    return keychainWords("The keychain in memory", failure);
  }

  KeychainDescription describe() override { return {"memory", "", KeychainStatus::ok}; }
};

}  // namespace talvane
