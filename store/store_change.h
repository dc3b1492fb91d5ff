#pragma once

#include <chrono>
#include <optional>

#include "platform/keychain_service.h"
#include "store/problem.h"
#include "store/store_lock.h"

namespace talvane {

/// A change of the user's store, from its first read to its last write: holds the per-user lock,
/// and makes one change of it where the keychain can. Unless it is finished it is given up, and
/// undone where the keychain can.
class StoreChange {
 public:
  /// Borrows the keychain. Waits so long for a change of another program.
  StoreChange(KeychainService& keychain, std::chrono::milliseconds patience);
  ~StoreChange();
  StoreChange(const StoreChange&) = delete;
  StoreChange& operator=(const StoreChange&) = delete;

  /// Why it is not begun, and nothing may be changed; nullopt: it is.
  [[nodiscard]] const std::optional<Problem>& problem() const { return problem_; }

  /// Ends the change. A Problem: the keychain did not keep it.
  [[nodiscard]] Result<void> finish();

 private:
  StoreLock lock_;
  KeychainService& keychain_;
  bool open_ = false;
  std::optional<Problem> problem_;
};

}  // namespace talvane
