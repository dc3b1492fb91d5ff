#pragma once

// Owners for libplist's nodes.

#include <plist/plist.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/gateway.h"
#include "platform/keychain_service.h"

namespace talvane {

/// Clears the texts and data below the node, then frees it.
struct PlistCloser {
  void operator()(void* node) const;
};
using Plist = std::unique_ptr<void, PlistCloser>;

/// Moves the child into the dictionary or array.
void setPlistItem(const Plist& dictionary, const char* key, Plist child);
void appendPlistItem(const Plist& array, Plist child);

Plist plistText(const std::string& text);
Plist plistData(const Bytes& data);
Plist plistNumber(std::int64_t number);
Plist plistUid(std::size_t number);

/// The node's content if it has this type; a null node has none.
std::optional<std::string> textOf(plist_t node);
std::optional<Bytes> dataOf(plist_t node);
std::optional<std::int64_t> numberOf(plist_t node);
std::optional<std::size_t> uidOf(plist_t node);

/// The dictionary's value for the key; null if there is none or `node` is not a dictionary.
plist_t plistItem(plist_t node, const char* key);
/// The number of entries; 0 if `node` is not a dictionary.
std::size_t plistDictionarySize(plist_t node);
/// The array's items; nullopt if `node` is not an array.
std::optional<std::vector<plist_t>> plistItems(plist_t node);

/// The binary form.
SecretBytes plistBytes(const Plist& plist);

}  // namespace talvane
