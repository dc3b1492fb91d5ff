#include "platform/ta_keychain.h"

#include <string>
#include <utility>

#include "engine/gateway.h"
#include "platform/keychain_service.h"
#include "platform/keychain_words.h"
#include "platform/record_archive.h"

namespace talvane {

TaKeyChain::TaKeyChain(KeychainService& keychain, std::string service, std::string account)
    : keychain_(keychain),
      _service(std::move(service)),
      account_(std::move(account)),
      _error("ERR Unknown") {}

KeychainStatus TaKeyChain::finished(KeychainStatus status) {
  _error = status == KeychainStatus::ok ? "OK" : "ERR " + messageWithCode(keychain_, status);
  return status;
}

KeychainStatus TaKeyChain::storePassword(const std::string* password, const Record* dict) {
  _error = "ERR Unknown";
  if (password == nullptr && dict == nullptr) return removeItem();
  const KeychainStatus found = keychain_.find(_service, account_, nullptr);
  lookup_ = found;
  if (found != KeychainStatus::ok && found != KeychainStatus::item_not_found) {
    return finished(found);
  }
  const SecretBytes secret = dict != nullptr ? archiveRecord(*dict) : SecretBytes();
  // Do not store a text that could not be read back, such as invalid UTF-8.
  if (dict != nullptr && !unarchiveRecord(secret)) return finished(KeychainStatus::cannot_decode);
  return finished(found == KeychainStatus::ok ? keychain_.replace(_service, account_, secret)
                                              : keychain_.add(_service, account_, secret));
}

// Looks up the data too: an item that this program may not read is not its to delete.
KeychainStatus TaKeyChain::removeItem() {
  SecretBytes secret;
  lookup_ = keychain_.find(_service, account_, &secret);
  // Damaged data was found all the same.
  if (lookup_ == KeychainStatus::cannot_decode) lookup_ = KeychainStatus::ok;
  if (lookup_ != KeychainStatus::ok) return finished(KeychainStatus::ok);
  return finished(keychain_.remove(_service, account_));
}

KeychainStatus TaKeyChain::getPassword(std::string* password, Record* dict) {
  _error = "ERR Unknown";
  SecretBytes secret;
  const KeychainStatus found = keychain_.find(_service, account_, &secret);
  lookup_ = found;
  if (found != KeychainStatus::ok) return finished(found);
  if (password != nullptr) {
    password->assign(secret->begin(), secret->end());
  } else if (dict != nullptr) {
    auto record = unarchiveRecord(secret);
    if (!record) return finished(KeychainStatus::cannot_decode);
    *dict = std::move(*record);
  }
  return finished(KeychainStatus::ok);
}

KeychainStatus TaKeyChain::storePassword(const std::string& password) {
  return storePassword(&password, nullptr);
}

KeychainStatus TaKeyChain::storeDict(const Record& dict) {
  return storePassword(nullptr, &dict);
}

KeychainStatus TaKeyChain::remove() {
  return storePassword(nullptr, nullptr);
}

KeychainStatus TaKeyChain::getPassword(std::string* password) {
  return getPassword(password, nullptr);
}

KeychainStatus TaKeyChain::getDict(Record* dict) {
  return getPassword(nullptr, dict);
}

}  // namespace talvane
