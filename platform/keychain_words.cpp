#include "platform/keychain_words.h"

#include <fmt/core.h>

#include <cstddef>
#include <string>

#include "platform/keychain_service.h"
#include "platform/translation.h"

namespace talvane {
namespace {

struct StatusWords {
  KeychainStatus status;
  const char* text;
};

constexpr StatusWords words[] = {
    {KeychainStatus::ok, marked("{} works; there is nothing to do")},
    {KeychainStatus::disk_full,
     marked("{} is on a full disk, and nothing was changed; free some space and try again")},
    {KeychainStatus::io_error,
     marked("{} could not be read or written; check the disk and try again")},
    {KeychainStatus::write_permission,
     marked("{} is read-only; make it and its folder writable and try again")},
    {KeychainStatus::not_available,
     marked("{} cannot be reached; check who owns it and its folder")},
    {KeychainStatus::no_default_keychain, marked("{} has no place for new items; report this")},
    {KeychainStatus::interaction_not_allowed, marked("{} is locked; unlock it first")},
    {KeychainStatus::duplicate_item,
     marked("{} already has an item of that name; delete it first")},
    {KeychainStatus::item_not_found, marked("{} has no item of that name; add it first")},
    {KeychainStatus::cannot_decode,
     marked("{} has a damaged item; restore it from a backup, or delete the item and add it "
            "again")},
    {KeychainStatus::invalid_keychain,
     marked("{} is damaged, and nothing was changed; restore it from a backup or move it away")},
    {KeychainStatus::not_responding,
     marked("{} has been in use by another program for two seconds; close that program and try "
            "again")},
};

// Modules speak English. They put what they heard from others in brackets, at most once.
std::string inUsersLanguage(const std::string& english) {
  const std::size_t begin = english.find(" (");
  const std::size_t end = english.rfind(')');
  if (begin == std::string::npos || end == std::string::npos) return translated(english);
  const std::string heard = english.substr(begin + 2, end - begin - 2);
  const std::string sentence = english.substr(0, begin + 2) + "{}" + english.substr(end);
  const std::string text = translated(sentence);
  return text == sentence ? english : fmt::format(fmt::runtime(text), heard);
}

}  // namespace

std::string keychainWords(const std::string& keychain, KeychainStatus status) {
  for (const StatusWords& of : words) {
    if (of.status == status) return translatedWith(fmt::runtime(of.text), keychain);
  }
  return translatedWith("{} failed; try again", keychain);
}

Words nameAndPlace(const KeychainDescription& keychain) {
  if (keychain.location.empty()) return translated(keychain.name);
  return translatedWith("{} at {}", translated(keychain.name), keychain.location);
}

Words messageFor(KeychainService& keychain, KeychainStatus status) {
  return inBothLanguages([&] { return inUsersLanguage(keychain.message(status)); });
}

Words messageWithCode(KeychainService& keychain, KeychainStatus status) {
  return inBothLanguages([&] {
    return fmt::format("{} [{}]", messageFor(keychain, status).spoken(), static_cast<int>(status));
  });
}

}  // namespace talvane
