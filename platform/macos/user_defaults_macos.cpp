#include <CoreFoundation/CoreFoundation.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/macos/core_foundation.h"
#include "platform/user_defaults.h"

namespace talvane {
namespace {

using macos::Owned;

CFStringRef application() {
  return CFSTR("com.talvane.softtoken");
}

Owned<CFPropertyListRef> copyValue(CFStringRef key) {
  return Owned<CFPropertyListRef>(
      CFPreferencesCopyValue(key, application(), kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
}

void setValue(CFStringRef key, CFPropertyListRef value) {
  CFPreferencesSetValue(key, value, application(), kCFPreferencesCurrentUser,
                        kCFPreferencesAnyHost);
}

/// Writes this process's changes and reads those of other processes.
bool synchronize() {
  return CFPreferencesSynchronize(application(), kCFPreferencesCurrentUser,
                                  kCFPreferencesAnyHost) != 0;
}

class MacUserDefaults final : public UserDefaults {
 public:
  Found string(const std::string& key, std::string* value) override {
    const Owned<CFStringRef> name = macos::string(key);
    if (!name) {
      return Found::no;
    }
    const bool synchronized = synchronize();
    const Owned<CFPropertyListRef> found = copyValue(name.get());
    if (!found) {
      return synchronized ? Found::no : Found::unreadable;
    }
    return textOf(found.get(), value) ? Found::yes : Found::unreadable;
  }

  bool setString(const std::string& key, const std::string& value) override {
    return change({{key, value}});
  }

  bool change(const Changes& changes) override {
    struct Value {
      Owned<CFStringRef> name;
      Owned<CFStringRef> text;  // null: none
      Owned<CFPropertyListRef> before;
    };
    std::vector<Value> values;
    for (const auto& [key, value] : changes) {
      Value one;
      one.name = macos::string(key);
      if (value) one.text = macos::string(*value);
      if (!one.name || (value && !one.text)) {
        return false;
      }
      one.before = copyValue(one.name.get());
      values.push_back(std::move(one));
    }
    for (const Value& one : values) setValue(one.name.get(), one.text.get());
    if (synchronize()) {
      return true;
    }
    for (const Value& one : values) setValue(one.name.get(), one.before.get());
    return false;
  }

 private:
  /// Reads numbers and booleans as text, in the form that the "defaults" command prints.
  static bool textOf(CFPropertyListRef object, std::string* value) {
    if (const CFStringRef string = macos::asString(object)) {
      *value = macos::text(string);
      return true;
    }
    if (CFGetTypeID(object) == CFBooleanGetTypeID()) {
      *value = CFBooleanGetValue(static_cast<CFBooleanRef>(object)) ? "1" : "0";
      return true;
    }
    long long number = 0;
    if (CFGetTypeID(object) == CFNumberGetTypeID() &&
        CFNumberGetValue(static_cast<CFNumberRef>(object), kCFNumberLongLongType, &number)) {
      *value = std::to_string(number);
      return true;
    }
    return false;
  }
};

}  // namespace

std::unique_ptr<UserDefaults> systemUserDefaults() {
  return std::make_unique<MacUserDefaults>();
}

}  // namespace talvane
