#pragma once

// Shared by the macOS backends: ownership of Core Foundation objects, and text conversion.

#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace talvane::macos {

/// Owns one reference to a Core Foundation object, or none.
template <class Ref>
class Owned {
 public:
  Owned() = default;
  /// Takes over the reference that a Create or Copy function returned.
  explicit Owned(Ref object) : object_(object) {}
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  Owned(Owned&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Owned& operator=(Owned&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Owned() {
    if (object_ != nullptr) {
      CFRelease(object_);
    }
  }

  explicit operator bool() const { return object_ != nullptr; }
  [[nodiscard]] Ref get() const { return object_; }
  /// For functions that return a reference through a pointer. The owner must be empty.
  [[nodiscard]] Ref* receive() { return &object_; }

 private:
  Ref object_ = nullptr;
};

/// The object as a borrowed string; null if it is null or not a string.
inline CFStringRef asString(CFTypeRef object) {
  return object != nullptr && CFGetTypeID(object) == CFStringGetTypeID()
             ? static_cast<CFStringRef>(object)
             : nullptr;
}

/// The string as UTF-8, "?" for what has no UTF-8 form; empty for null.
inline std::string text(CFStringRef string) {
  if (string == nullptr) {
    return {};
  }
  const CFRange all = CFRangeMake(0, CFStringGetLength(string));
  CFIndex size = 0;
  CFStringGetBytes(string, all, kCFStringEncodingUTF8, '?', false, nullptr, 0, &size);
  std::string result(static_cast<std::size_t>(size), '\0');
  // The buffer is of bytes without a sign.
  CFStringGetBytes(string, all, kCFStringEncodingUTF8, '?', false,
                   reinterpret_cast<UInt8*>(result.data()), size, nullptr);
  return result;
}

/// The text as a string; none if it is not UTF-8.
inline Owned<CFStringRef> string(std::string_view text) {
  return Owned<CFStringRef>(
      CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                              static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
}

}  // namespace talvane::macos
