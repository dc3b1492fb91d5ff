#include <CoreFoundation/CoreFoundation.h>

#include <string>

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
    const Owned<CFStringRef> name = macos::string(key);
    const Owned<CFStringRef> text = macos::string(value);
    if (!name || !text) {
      return false;
    }
    const Owned<CFPropertyListRef> before = copyValue(name.get());
    setValue(name.get(), text.get());
    if (synchronize()) {
      return true;
    }
    setValue(name.get(), before.get());
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
