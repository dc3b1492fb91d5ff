#include "platform/keychain_words.h"

#include <fmt/core.h>

#include <string>
#include <utility>

#include "platform/keychain_service.h"

namespace talvane {
namespace {

constexpr std::pair<KeychainStatus, const char*> words[] = {
    {KeychainStatus::ok, "works; there is nothing to do"},
    {KeychainStatus::disk_full,
     "is on a full disk, and nothing was changed; free some space and try again"},
    {KeychainStatus::io_error, "could not be read or written; check the disk and try again"},
    {KeychainStatus::write_permission,
     "is read-only; make it and its folder writable and try again"},
    {KeychainStatus::not_available, "cannot be reached; check who owns it and its folder"},
    {KeychainStatus::no_default_keychain, "has no place for new items; report this"},
    {KeychainStatus::interaction_not_allowed, "is locked; unlock it first"},
    {KeychainStatus::duplicate_item, "already has an item of that name; delete it first"},
    {KeychainStatus::item_not_found, "has no item of that name; add it first"},
    {KeychainStatus::cannot_decode,
     "has a damaged item; restore it from a backup, or delete the item and add it again"},
    {KeychainStatus::invalid_keychain,
     "is damaged, and nothing was changed; restore it from a backup or move it away"},
    {KeychainStatus::not_responding,
     "has been in use by another program for two seconds; close that program and try again"},
};

}  // namespace

std::string keychainWords(const std::string& keychain, KeychainStatus status) {
  for (const auto& [of, text] : words) {
    if (of == status) return keychain + ' ' + text;
  }
  return keychain + " failed; try again";
}

std::string messageWithCode(KeychainService& keychain, KeychainStatus status) {
  return fmt::format("{} [{}]", keychain.message(status), static_cast<int>(status));
}

}  // namespace talvane
