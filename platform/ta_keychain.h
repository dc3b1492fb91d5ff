#pragma once

#include <string>

#include "engine/gateway.h"
#include "platform/keychain_service.h"

namespace talvane {

/// One keychain item, named by service and account, that holds a text or a record. Borrows the
/// keychain.
class TaKeyChain {
 public:
  TaKeyChain(KeychainService& keychain, std::string service, std::string account);

  /// Stores a text (`dict` null) or a record (`password` null) and replaces the whole item. At most
  /// one may be given: if both are null, removes the item, which succeeds even if there is none.
  /// Storing a text writes an empty secret.
  [[nodiscard]] KeychainStatus storePassword(const std::string* password, const Record* dict);
  /// Reads the item as a text or a record; as a text if both are requested. Leaves the target
  /// unchanged on failure.
  [[nodiscard]] KeychainStatus getPassword(std::string* password, Record* dict);

  [[nodiscard]] KeychainStatus storePassword(const std::string& password);
  [[nodiscard]] KeychainStatus storeDict(const Record& dict);
  [[nodiscard]] KeychainStatus remove();
  [[nodiscard]] KeychainStatus getPassword(std::string* password);
  [[nodiscard]] KeychainStatus getDict(Record* dict);

  /// "OK" after success; "ERR " with the keychain's words and the status after a failure; "ERR
  /// Unknown" before the first call.
  [[nodiscard]] const std::string& error() const { return _error; }

  /// The result of the lookup that begins every call; damaged data counts as found when it is to be
  /// removed. Removing succeeds whatever it is.
  [[nodiscard]] KeychainStatus lookup() const { return lookup_; }

 private:
  KeychainStatus removeItem();
  KeychainStatus finished(KeychainStatus status);

  KeychainService& keychain_;
  std::string _service;
  std::string account_;
  std::string _error;
  KeychainStatus lookup_ = KeychainStatus::ok;
};

}  // namespace talvane
