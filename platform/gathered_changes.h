#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/keychain_service.h"

namespace talvane {

/// Makes changes safe in a keychain that stores one item at a time. Between beginChange and
/// endChange it keeps them in memory, where `find` sees them; abandonChange drops them. endChange
/// first writes every item, lower numbers first, then reads them back, then deletes. So an
/// interruption leaves an item twice at worst, never none, if items only move down.
class GatheredChanges final : public KeychainService {
 public:
  explicit GatheredChanges(std::unique_ptr<KeychainService> keychain);

  KeychainStatus find(const std::string& service, const std::string& account,
                      SecretBytes* secret) override;
  KeychainStatus add(const std::string& service, const std::string& account,
                     const SecretBytes& secret) override;
  KeychainStatus replace(const std::string& service, const std::string& account,
                         const SecretBytes& secret) override;
  KeychainStatus remove(const std::string& service, const std::string& account) override;
  std::string message(KeychainStatus status) override;
  KeychainDescription describe() override;
  bool canUnlock() override { return keychain_->canUnlock(); }
  KeychainStatus unlock(const std::string& account,
                        const std::function<bool()>& given_up) override {
    return keychain_->unlock(account, given_up);
  }
  void beginReading(const std::string& account) override;
  void endReading() override;
  KeychainStatus beginChange() override;
  /// io_error if an item is not found as it was written; nothing is deleted then.
  KeychainStatus endChange() override;
  void abandonChange() override;

 private:
  struct Change {
    bool existed = false;               // before the change
    std::optional<SecretBytes> secret;  // after it; nullopt: none
  };
  using Name = std::pair<std::string, std::string>;  // service and account
  // Numbers at the end of a service count: "slot2" comes before "slot10".
  struct Order {
    bool operator()(const Name& a, const Name& b) const;
  };

  KeychainStatus gather(const Name& name, KeychainStatus wanted, const SecretBytes* secret);
  KeychainStatus write();
  KeychainStatus readBack();
  KeychainStatus removeOld();

  std::unique_ptr<KeychainService> keychain_;
  bool changing_ = false;
  std::map<Name, Change, Order> changes_;
};

}  // namespace talvane
