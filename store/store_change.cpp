#include "store/store_change.h"

#include <chrono>
#include <tl/expected.hpp>

#include "platform/folders.h"
#include "platform/keychain_service.h"
#include "platform/keychain_words.h"
#include "store/problem.h"

namespace talvane {
namespace {

Problem keychainProblem(KeychainService& keychain, KeychainStatus status) {
  return {Problem::Next::check_keychain, messageWithCode(keychain, status)};
}

}  // namespace

StoreChange::StoreChange(KeychainService& keychain, std::chrono::milliseconds patience)
    : lock_(dataFolder(), patience), keychain_(keychain) {
  if (!lock_.held()) {
    problem_ = Problem{lock_.busy() ? Problem::Next::try_again : Problem::Next::check_keychain,
                       lock_.error()};
    return;
  }
  const KeychainStatus status = keychain_.beginChange();
  open_ = status == KeychainStatus::ok;
  if (!open_) problem_ = keychainProblem(keychain_, status);
}

StoreChange::~StoreChange() {
  if (open_) keychain_.abandonChange();
}

Result<void> StoreChange::finish() {
  open_ = false;
  const KeychainStatus status = keychain_.endChange();
  if (status != KeychainStatus::ok) return tl::unexpected(keychainProblem(keychain_, status));
  return {};
}

}  // namespace talvane
