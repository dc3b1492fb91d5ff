#include "store/store_change.h"

#include <chrono>
#include <memory>
#include <string>
#include <tl/expected.hpp>

#include "platform/folders.h"
#include "platform/keychain_service.h"
#include "platform/keychain_words.h"
#include "platform/translation.h"
#include "store/problem.h"
#include "store/store_lock.h"

namespace talvane {
namespace {

Problem keychainProblem(KeychainService& keychain, KeychainStatus status) {
  return {Problem::Next::check_keychain, messageWithCode(keychain, status)};
}

std::shared_ptr<StoreLock> lockOf(std::chrono::milliseconds patience, const Blocking& blocking) {
  const std::string folder = dataFolder();
  if (!blocking) return std::make_shared<StoreLock>(folder, patience);
  const auto lock = std::make_shared<std::shared_ptr<StoreLock>>();
  const bool done =
      blocking([lock, folder, patience] { *lock = std::make_shared<StoreLock>(folder, patience); });
  return done ? *lock : nullptr;
}

}  // namespace

StoreChange::StoreChange(KeychainService& keychain, std::chrono::milliseconds patience,
                         const Blocking& blocking)
    : lock_(lockOf(patience, blocking)), keychain_(keychain) {
  if (lock_ == nullptr) {
    problem_ = Problem{Problem::Next::try_again, translated("The change was cancelled; try again")};
    return;
  }
  if (!lock_->held()) {
    problem_ = Problem{lock_->busy() ? Problem::Next::try_again : Problem::Next::check_keychain,
                       lock_->error()};
    return;
  }
  const KeychainStatus status = keychain_.beginChange();
  open_ = status == KeychainStatus::ok;
  if (!open_) problem_ = keychainProblem(keychain_, status);
}

StoreChange::~StoreChange() {
  if (open_) keychain_.abandonChange();
}

Result<void> StoreChange::settle() {
  if (keychain_.keepsChangesTogether()) return {};
  return finish().and_then([this]() -> Result<void> {
    const KeychainStatus status = keychain_.beginChange();
    open_ = status == KeychainStatus::ok;
    if (!open_) return tl::unexpected(keychainProblem(keychain_, status));
    return {};
  });
}

Result<void> StoreChange::finish() {
  open_ = false;
  const KeychainStatus status = keychain_.endChange();
  if (status != KeychainStatus::ok) return tl::unexpected(keychainProblem(keychain_, status));
  return {};
}

}  // namespace talvane
