#pragma once

#include <string>

#include "platform/keychain_service.h"
#include "platform/store_lock.h"

namespace talvane {

/// A change of the user's store, from its first read to its last write: holds the per-user lock,
/// and makes one change of it where the keychain can. Unless it is finished it is given up, and
/// undone where the keychain can.
class StoreChange {
 public:
  /// Borrows the keychain.
  explicit StoreChange(KeychainService& keychain);
  ~StoreChange();
  StoreChange(const StoreChange&) = delete;
  StoreChange& operator=(const StoreChange&) = delete;

  /// False: nothing may be changed; `error` says why.
  [[nodiscard]] bool begun() const { return open_; }
  /// It is not begun because another program changes the store.
  [[nodiscard]] bool busy() const { return lock_.busy(); }
  /// For the user, with what to do.
  [[nodiscard]] const std::string& error() const { return error_; }

  /// Ends the change. False, with `error`: the keychain did not keep it.
  [[nodiscard]] bool finish();

 private:
  StoreLock lock_;
  KeychainService& keychain_;
  bool open_ = false;
  std::string error_;
};

}  // namespace talvane
