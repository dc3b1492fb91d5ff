#include "platform/store_change.h"

#include "platform/folders.h"

namespace talvane {

StoreChange::StoreChange(KeychainService& keychain) : lock_(dataFolder()), keychain_(keychain) {
  if (!lock_.held()) {
    error_ = lock_.error();
    return;
  }
  const KeychainStatus status = keychain_.beginChange();
  open_ = status == KeychainStatus::ok;
  if (!open_) error_ = keychain_.message(status);
}

StoreChange::~StoreChange() {
  if (open_) keychain_.abandonChange();
}

bool StoreChange::finish() {
  open_ = false;
  const KeychainStatus status = keychain_.endChange();
  if (status != KeychainStatus::ok) error_ = keychain_.message(status);
  return status == KeychainStatus::ok;
}

}  // namespace talvane
