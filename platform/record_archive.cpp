#include "platform/record_archive.h"

#include <plist/plist.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "engine/gateway.h"
#include "engine/text.h"
#include "platform/keychain_service.h"
#include "platform/record_archive_check.h"
#include "platform/record_archive_plist.h"

namespace talvane {
namespace {

constexpr const char* archiver = "NSKeyedArchiver";
constexpr std::int64_t archive_version = 100000;
// The first object, which a null reference refers to. A text with the same content must be wrapped
// to differ from it.
constexpr const char* null_text = "$null";

// The $objects under construction. An object's UID is its place.
class ObjectTable {
 public:
  ObjectTable() { append(plistText(null_text)); }

  void append(Plist object) { appendPlistItem(objects_, std::move(object)); }
  void appendClass(std::initializer_list<const char*> names) {
    Plist classes(plist_new_array());
    for (const char* name : names) appendPlistItem(classes, plistText(name));
    Plist description(plist_new_dict());
    setPlistItem(description, "$classname", plistText(*names.begin()));
    setPlistItem(description, "$classes", std::move(classes));
    append(std::move(description));
  }
  Plist take() { return std::move(objects_); }

 private:
  Plist objects_{plist_new_array()};
};

bool isArchivable(const std::string& text) {
  return isUtf8(text) && text.find('\0') == std::string::npos;
}

bool isArchivable(const Record& record) {
  return std::all_of(record.begin(), record.end(), [](const auto& entry) {
    const auto* text = std::get_if<std::string>(&entry.second);
    return isArchivable(entry.first) && (text == nullptr || isArchivable(*text));
  });
}

// The text as an object; one that needs wrapping refers to the class `string_class`.
Plist textObject(const std::string& text, std::size_t string_class) {
  if (text != null_text) return plistText(text);
  Plist wrapped(plist_new_dict());
  setPlistItem(wrapped, "NS.string", plistText(text));
  setPlistItem(wrapped, "$class", plistUid(string_class));
  return wrapped;
}

// The objects of an archive that is being read, by UID.
class ObjectReader {
 public:
  explicit ObjectReader(std::vector<plist_t> objects) : objects_(std::move(objects)) {}

  // Null if the UID is out of range or refers to nothing.
  [[nodiscard]] plist_t object(std::optional<std::size_t> uid) const {
    return uid && *uid > 0 && *uid < objects_.size() ? objects_[*uid] : nullptr;
  }

  [[nodiscard]] std::optional<std::string> text(plist_t object) const {
    if (auto plain = textOf(object)) return *plain == null_text ? std::nullopt : plain;
    if (plistDictionarySize(object) != 2 || !isOfClass(object, {"NSString", "NSMutableString"})) {
      return {};
    }
    return textOf(plistItem(object, "NS.string"));
  }

  [[nodiscard]] std::optional<RecordValue> value(plist_t object) const {
    if (auto plain = text(object)) return std::move(*plain);
    if (auto data = dataOf(object)) return std::move(*data);
    if (auto number = numberOf(object)) return *number;
    if (plistDictionarySize(object) != 2 || !isOfClass(object, {"NSData", "NSMutableData"})) {
      return {};
    }
    if (auto data = dataOf(plistItem(object, "NS.data"))) return std::move(*data);
    return {};
  }

  [[nodiscard]] std::optional<Record> record(plist_t object) const {
    if (plistDictionarySize(object) != 3 ||
        !isOfClass(object, {"NSDictionary", "NSMutableDictionary"})) {
      return {};
    }
    const auto keys = plistItems(plistItem(object, "NS.keys"));
    const auto values = plistItems(plistItem(object, "NS.objects"));
    if (!keys || !values || keys->size() != values->size()) return {};
    Record record;
    for (std::size_t i = 0; i < keys->size(); ++i) {
      auto key = text(this->object(uidOf((*keys)[i])));
      auto content = value(this->object(uidOf((*values)[i])));
      if (!key || !content) return {};
      if (!record.emplace(std::move(*key), std::move(*content)).second) return {};
    }
    return record;
  }

 private:
  // A class description is small. Do not search a large one for each of its objects.
  static constexpr std::size_t largest_description = 8;

  [[nodiscard]] bool isOfClass(plist_t object,
                               std::initializer_list<std::string_view> names) const {
    const plist_t description = this->object(uidOf(plistItem(object, "$class")));
    if (plistDictionarySize(description) > largest_description) return false;
    const auto name = textOf(plistItem(description, "$classname"));
    const plist_t classes = plistItem(description, "$classes");
    if (!name || classes == nullptr || plist_get_node_type(classes) != PLIST_ARRAY ||
        textOf(plist_array_get_item(classes, 0)) != name) {
      return false;
    }
    return std::find(names.begin(), names.end(), *name) != names.end();
  }

  std::vector<plist_t> objects_;
};

std::optional<Record> recordIn(const Bytes& archive) {
  plist_t node = nullptr;
  plist_from_bin(reinterpret_cast<const char*>(archive.data()),
                 static_cast<std::uint32_t>(archive.size()), &node);
  const Plist root(node);
  const plist_t top = plistItem(node, "$top");
  if (plistDictionarySize(node) != 4 || plistDictionarySize(top) != 1 ||
      textOf(plistItem(node, "$archiver")) != archiver ||
      numberOf(plistItem(node, "$version")) != archive_version) {
    return {};
  }
  auto objects = plistItems(plistItem(node, "$objects"));
  if (!objects || objects->empty() || textOf(objects->front()) != null_text) return {};
  const ObjectReader reader(std::move(*objects));
  return reader.record(reader.object(uidOf(plistItem(top, "dict"))));
}

}  // namespace

SecretBytes archiveRecord(const Record& record) {
  if (!isArchivable(record)) return {};
  constexpr std::size_t dictionary_uid = 1;
  const std::size_t first_key = dictionary_uid + 1;
  const std::size_t dictionary_class = first_key + 2 * record.size();
  const std::size_t string_class = dictionary_class + 1;

  Plist keys(plist_new_array());
  Plist values(plist_new_array());
  for (std::size_t i = 0; i < record.size(); ++i) {
    appendPlistItem(keys, plistUid(first_key + i));
    appendPlistItem(values, plistUid(first_key + record.size() + i));
  }
  Plist dictionary(plist_new_dict());
  setPlistItem(dictionary, "NS.keys", std::move(keys));
  setPlistItem(dictionary, "NS.objects", std::move(values));
  setPlistItem(dictionary, "$class", plistUid(dictionary_class));

  ObjectTable objects;
  objects.append(std::move(dictionary));
  bool wraps_text = false;
  for (const auto& [key, value] : record) {
    wraps_text |= key == null_text || value == RecordValue(null_text);
    objects.append(textObject(key, string_class));
  }
  for (const auto& [key, value] : record) {
    if (const auto* text = std::get_if<std::string>(&value)) {
      objects.append(textObject(*text, string_class));
    } else if (const auto* data = std::get_if<Bytes>(&value)) {
      objects.append(plistData(*data));
    } else {
      objects.append(plistNumber(std::get<std::int64_t>(value)));
    }
  }
  objects.appendClass({"NSMutableDictionary", "NSDictionary", "NSObject"});
  if (wraps_text) objects.appendClass({"NSString", "NSObject"});

  Plist top(plist_new_dict());
  setPlistItem(top, "dict", plistUid(dictionary_uid));
  Plist archive(plist_new_dict());
  setPlistItem(archive, "$version", plistNumber(archive_version));
  setPlistItem(archive, "$archiver", plistText(archiver));
  setPlistItem(archive, "$top", std::move(top));
  setPlistItem(archive, "$objects", objects.take());
  SecretBytes bytes = plistBytes(archive);
  if (!isSafePropertyList(bytes.get())) return {};
  return bytes;
}

std::optional<Record> unarchiveRecord(const Bytes& archive) {
  // libplist trusts its input more than this code may.
  if (!isSafePropertyList(archive)) return {};
  if (auto record = recordIn(archive)) return record;
  // libplist does not say when it got no memory. Look again before calling the bytes damaged.
  return recordIn(archive);
}

}  // namespace talvane
