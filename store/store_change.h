#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "platform/keychain_service.h"
#include "store/problem.h"
#include "store/store_lock.h"

namespace talvane {

/// Performs work that may block, and returns whether it is done. If not, it may still be done
/// later: it must own what it uses.
using Blocking = std::function<bool(std::function<void()> work)>;

/// One change of the user's store, from its first read to its last write. It holds the per-user
/// lock, and is atomic if the keychain supports that. A change that is not finished is abandoned,
/// and undone if the keychain can.
class StoreChange {
 public:
  /// Borrows the keychain. Waits up to `patience` for another program's change, within `blocking`
  /// if it is not empty.
  StoreChange(KeychainService& keychain, std::chrono::milliseconds patience,
              const Blocking& blocking);
  ~StoreChange();
  StoreChange(const StoreChange&) = delete;
  StoreChange& operator=(const StoreChange&) = delete;

  /// Why the change could not begin, and nothing may be changed; nullopt if it began.
  [[nodiscard]] const std::optional<Problem>& problem() const { return problem_; }

  /// Makes what was changed so far stand before what follows, whenever an interruption comes: a
  /// keychain that does not keep changes together stores it now. It can no longer be undone then. A
  /// Problem ends the change.
  [[nodiscard]] Result<void> settle();

  /// Commits the change. A Problem means that the keychain did not store it.
  [[nodiscard]] Result<void> finish();

 private:
  std::shared_ptr<StoreLock> lock_;  // null: not waited for
  KeychainService& keychain_;
  bool open_ = false;
  std::optional<Problem> problem_;
};

}  // namespace talvane
