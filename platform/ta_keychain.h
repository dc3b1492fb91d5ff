#pragma once

#include <optional>
#include <string>

#include "engine/gateway.h"
#include "platform/keychain_service.h"

namespace talvane {

/// One keychain item, named by service and account, holding a text or a record. Borrows the
/// keychain.
class TaKeyChain {
 public:
  TaKeyChain(KeychainService& keychain, std::string service, std::string account);

  /// Stores a text (`dict` null) or a record (`password` null), replacing the whole item; removes
  /// the item when both are null, which succeeds also when there is none. Exactly one may be given.
  /// Storing a text writes an empty secret.
  [[nodiscard]] KeychainStatus storePassword(const std::string* password, const Record* dict);
  /// Reads the item as a text or a record; the text is served first when both are wanted. A target
  /// is untouched on failure.
  [[nodiscard]] KeychainStatus getPassword(std::string* password, Record* dict);

  [[nodiscard]] KeychainStatus storePassword(const std::string& password);
  [[nodiscard]] KeychainStatus storeDict(const Record& dict);
  [[nodiscard]] KeychainStatus remove();
  [[nodiscard]] KeychainStatus getPassword(std::string* password);
  [[nodiscard]] KeychainStatus getDict(Record* dict);

  /// "OK" after success; "ERR " with the keychain's words and the status after a failure; "ERR
  /// Unknown" before the first call.
  [[nodiscard]] const std::string& error() const { return _error; }

  /// What the look-up came to that every call begins with: removing succeeds whatever it was.
  [[nodiscard]] KeychainStatus lookup() const { return lookup_; }

 private:
  KeychainStatus finished(KeychainStatus status);

  KeychainService& keychain_;
  std::string _service;
  std::string account_;
  std::string _error;
  KeychainStatus lookup_ = KeychainStatus::ok;
};

}  // namespace talvane
