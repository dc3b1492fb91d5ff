#pragma once

#include <cstddef>
#include <map>
#include <string>

#include "platform/user_defaults.h"

namespace talvane::test {

/// User defaults in memory.
class MemoryUserDefaults final : public UserDefaults {
 public:
  std::map<std::string, std::string> values;
  bool readable = true;
  bool writable = true;
  std::size_t stored = 0;
  std::size_t looks = 0;

  Found string(const std::string& key, std::string* value) override {
    ++looks;
    if (!readable) return Found::unreadable;
    const auto found = values.find(key);
    if (found == values.end()) return Found::no;
    *value = found->second;
    return Found::yes;
  }

  bool setString(const std::string& key, const std::string& value) override {
    if (!readable || !writable) return false;
    ++stored;
    values[key] = value;
    return true;
  }

  bool change(const Changes& changes) override {
    if (!readable || !writable) return false;
    ++stored;
    for (const auto& [key, value] : changes) {
      if (value) {
        values[key] = *value;
      } else {
        values.erase(key);
      }
    }
    return true;
  }
};

}  // namespace talvane::test
