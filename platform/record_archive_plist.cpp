#include "platform/record_archive_plist.h"

#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "engine/cleared.h"
#include "engine/gateway.h"
#include "platform/keychain_service.h"

namespace talvane {
namespace {

// Whole numbers in the binary form are signed. libplist tells signed from unsigned since 2.3, and
// has wider unsigned numbers since then.
#ifdef SOFTTOKEN_PLIST_TELLS_SIGNS
plist_t newNumber(std::int64_t number) {
  return plist_new_int(number);
}

std::int64_t valueOf(plist_t node) {
  std::int64_t number = 0;
  plist_get_int_val(node, &number);
  return number;
}

void freeMemory(void* memory) {
  plist_mem_free(memory);
}
#else
plist_t newNumber(std::int64_t number) {
  return plist_new_uint(static_cast<std::uint64_t>(number));
}

std::int64_t valueOf(plist_t node) {
  std::uint64_t number = 0;
  plist_get_uint_val(node, &number);
  return static_cast<std::int64_t>(number);
}

void freeMemory(void* memory) {
  std::free(memory);
}
#endif

void clearContent(plist_t node) {
  switch (plist_get_node_type(node)) {
    case PLIST_STRING: {
      std::uint64_t size = 0;
      const char* text = plist_get_string_ptr(node, &size);
      clearMemory(const_cast<char*>(text), size);
      break;
    }
    case PLIST_DATA: {
      std::uint64_t size = 0;
      const char* data = plist_get_data_ptr(node, &size);
      if (data != nullptr) clearMemory(const_cast<char*>(data), size);
      break;
    }
    case PLIST_ARRAY: {
      plist_array_iter iterator = nullptr;
      plist_array_new_iter(node, &iterator);
      plist_t item = nullptr;
      for (plist_array_next_item(node, iterator, &item); item != nullptr;
           plist_array_next_item(node, iterator, &item)) {
        clearContent(item);
      }
      freeMemory(iterator);
      break;
    }
    case PLIST_DICT: {
      plist_dict_iter iterator = nullptr;
      plist_dict_new_iter(node, &iterator);
      plist_t item = nullptr;
      for (plist_dict_next_item(node, iterator, nullptr, &item); item != nullptr;
           plist_dict_next_item(node, iterator, nullptr, &item)) {
        clearContent(item);
      }
      freeMemory(iterator);
      break;
    }
    default:
      break;
  }
}

bool isOf(plist_t node, plist_type type) {
  return node != nullptr && plist_get_node_type(node) == type;
}

}  // namespace

void PlistCloser::operator()(void* node) const {
  clearContent(node);
  plist_free(node);
}

void setPlistItem(const Plist& dictionary, const char* key, Plist child) {
  plist_dict_set_item(dictionary.get(), key, child.release());
}

void appendPlistItem(const Plist& array, Plist child) {
  plist_array_append_item(array.get(), child.release());
}

Plist plistText(const std::string& text) {
  return Plist(plist_new_string(text.c_str()));
}

Plist plistData(const Bytes& data) {
  return Plist(plist_new_data(reinterpret_cast<const char*>(data.data()), data.size()));
}

Plist plistNumber(std::int64_t number) {
  return Plist(newNumber(number));
}

Plist plistUid(std::size_t number) {
  return Plist(plist_new_uid(number));
}

std::optional<std::string> textOf(plist_t node) {
  if (!isOf(node, PLIST_STRING)) return {};
  std::uint64_t size = 0;
  const char* text = plist_get_string_ptr(node, &size);
  if (text == nullptr) return {};
  return std::string(text, size);
}

std::optional<Bytes> dataOf(plist_t node) {
  if (!isOf(node, PLIST_DATA)) return {};
  std::uint64_t size = 0;
  const char* data = plist_get_data_ptr(node, &size);
  return Bytes(data, data + size);
}

std::optional<std::int64_t> numberOf(plist_t node) {
  if (!isOf(node, PLIST_UINT)) return {};
  return valueOf(node);
}

std::optional<std::size_t> uidOf(plist_t node) {
  if (!isOf(node, PLIST_UID)) return {};
  std::uint64_t number = 0;
  plist_get_uid_val(node, &number);
  return number;
}

plist_t plistItem(plist_t node, const char* key) {
  return isOf(node, PLIST_DICT) ? plist_dict_get_item(node, key) : nullptr;
}

std::size_t plistDictionarySize(plist_t node) {
  return isOf(node, PLIST_DICT) ? plist_dict_get_size(node) : 0;
}

std::optional<std::vector<plist_t>> plistItems(plist_t node) {
  if (!isOf(node, PLIST_ARRAY)) return {};
  std::vector<plist_t> items;
  items.reserve(plist_array_get_size(node));
  plist_array_iter iterator = nullptr;
  plist_array_new_iter(node, &iterator);
  plist_t item = nullptr;
  for (plist_array_next_item(node, iterator, &item); item != nullptr;
       plist_array_next_item(node, iterator, &item)) {
    items.push_back(item);
  }
  freeMemory(iterator);
  return items;
}

SecretBytes plistBytes(const Plist& plist) {
  char* bytes = nullptr;
  std::uint32_t size = 0;
  plist_to_bin(plist.get(), &bytes, &size);
  if (bytes == nullptr) return {};
  SecretBytes result(Bytes(bytes, bytes + size));
  clearMemory(bytes, size);
  freeMemory(bytes);
  return result;
}

}  // namespace talvane
