#include "platform/keychain_words.h"

#include <utility>

namespace talvane {
namespace {

constexpr std::pair<KeychainStatus, const char*> words[] = {
    {KeychainStatus::ok, "is well"},
    {KeychainStatus::disk_full,
     "has no room on its disk, and nothing was changed; free some space and try again"},
    {KeychainStatus::io_error, "could not be read or written; check the disk and try again"},
    {KeychainStatus::write_permission,
     "may not be written to; make it and its folder writable and try again"},
    {KeychainStatus::not_available, "cannot be reached; check who owns it and its folder"},
    {KeychainStatus::no_default_keychain, "has no collection to store into; report this"},
    {KeychainStatus::interaction_not_allowed, "is locked; unlock it first"},
    {KeychainStatus::duplicate_item, "holds an item of that name already; remove it first"},
    {KeychainStatus::item_not_found, "holds no item of that name; add it first"},
    {KeychainStatus::cannot_decode,
     "holds a damaged item; restore it from a backup, or delete the item and add it again"},
    {KeychainStatus::invalid_keychain,
     "is damaged, and nothing was changed; restore it from a backup or move it away"},
    {KeychainStatus::not_responding,
     "has been held by another program for two seconds; close that program and try again"},
};

}  // namespace

std::string keychainWords(const std::string& keychain, KeychainStatus status) {
  for (const auto& [of, text] : words) {
    if (of == status) return keychain + ' ' + text;
  }
  return keychain + " failed; try again";
}

}  // namespace talvane
