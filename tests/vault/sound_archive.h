#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tests/vault/property_list.h"

namespace talvane::test {

using Writer = PropertyListWriter;
using Numbers = std::vector<std::size_t>;

/// A sound archive of {"key": "value"}; a test puts something else in one place.
struct Archive {
  Writer writer;
  std::size_t archiver = writer.text("NSKeyedArchiver");
  std::size_t version = writer.number(100000);
  std::size_t null_object = writer.text("$null");
  std::size_t key = writer.text("key");
  std::size_t value = writer.text("value");
  std::size_t class_name = writer.text("NSMutableDictionary");
  std::size_t class_names = writer.array({class_name, writer.text("NSObject")});
  std::size_t class_object = 0;   // 0: made of the two above
  std::size_t dictionary = 0;     // 0: made of the three below
  Numbers keys{writer.uid(2)};    // of the key
  Numbers values{writer.uid(3)};  // of the value
  std::size_t class_uid = writer.uid(4);
  std::size_t top = writer.named({{"dict", writer.uid(1)}});
  Numbers more_objects;  // from UID 5 on
  std::vector<std::pair<std::string, std::size_t>> more_entries;

  Bytes finish() {
    if (class_object == 0) {
      class_object = writer.named({{"$classname", class_name}, {"$classes", class_names}});
    }
    if (dictionary == 0) {
      const std::size_t key_array = writer.array(keys);
      const std::size_t value_array = writer.array(values);
      dictionary = writer.named(
          {{"NS.keys", key_array}, {"NS.objects", value_array}, {"$class", class_uid}});
    }
    Numbers objects{null_object, dictionary, key, value, class_object};
    objects.insert(objects.end(), more_objects.begin(), more_objects.end());
    std::vector<std::pair<std::string, std::size_t>> entries{{"$archiver", archiver},
                                                             {"$version", version},
                                                             {"$top", top},
                                                             {"$objects", writer.array(objects)}};
    entries.insert(entries.end(), more_entries.begin(), more_entries.end());
    return writer.finish(writer.named(entries));
  }
};

inline const Record sound{{"key", std::string("value")}};

}  // namespace talvane::test
