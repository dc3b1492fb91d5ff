#include <CoreServices/CoreServices.h>

#include <utility>

#include "platform/folders.h"
#include "platform/login_items_list.h"
#include "platform/macos/core_foundation.h"

// Shared file lists are deprecated since macOS 10.11 without a replacement that lists other
// programs' items.
#pragma clang diagnostic ignored "-Wdeprecated-declarations"

namespace talvane {
namespace {

using macos::Owned;

class MacLoginItem final : public LoginItem {
 public:
  explicit MacLoginItem(LSSharedFileListItemRef item) : item_(item) { CFRetain(item); }

  [[nodiscard]] LSSharedFileListItemRef item() const { return item_.get(); }

 private:
  Owned<LSSharedFileListItemRef> item_;
};

class MacLoginItems final : public LoginItemsList {
 public:
  MacLoginItems()
      : list_(LSSharedFileListCreate(kCFAllocatorDefault, kLSSharedFileListSessionLoginItems,
                                     nullptr)) {
    if (list_) {
      LSSharedFileListAddObserver(list_.get(), CFRunLoopGetMain(), kCFRunLoopDefaultMode,
                                  listChanged, this);
    }
  }
  MacLoginItems(const MacLoginItems&) = delete;
  MacLoginItems& operator=(const MacLoginItems&) = delete;
  ~MacLoginItems() override {
    if (list_) {
      LSSharedFileListRemoveObserver(list_.get(), CFRunLoopGetMain(), kCFRunLoopDefaultMode,
                                     listChanged, this);
    }
  }

  std::vector<LoginItemHandle> snapshot() override {
    std::vector<LoginItemHandle> items;
    if (!list_) {
      return items;
    }
    UInt32 seed = 0;
    const Owned<CFArrayRef> array(LSSharedFileListCopySnapshot(list_.get(), &seed));
    const CFIndex count = array ? CFArrayGetCount(array.get()) : 0;
    for (CFIndex at = 0; at < count; ++at) {
      const void* item = CFArrayGetValueAtIndex(array.get(), at);
      // Core Foundation returns objects as const but takes them as non-const.
      items.push_back(std::make_shared<MacLoginItem>(
          static_cast<LSSharedFileListItemRef>(const_cast<void*>(item))));
    }
    return items;
  }

  std::optional<std::string> resolve(const LoginItem& item) override {
    const auto* own = dynamic_cast<const MacLoginItem*>(&item);
    Owned<CFURLRef> url;
    if (own == nullptr ||
        LSSharedFileListItemResolve(
            own->item(), kLSSharedFileListNoUserInteraction | kLSSharedFileListDoNotMountVolumes,
            url.receive(), nullptr) != noErr) {
      return std::nullopt;
    }
    return absoluteText(url.get());
  }

  void insertAtHead(const std::string& target) override {
    const Owned<CFStringRef> text = macos::string(target);
    if (!list_ || !text) {
      return;
    }
    const Owned<CFURLRef> url(CFURLCreateWithString(kCFAllocatorDefault, text.get(), nullptr));
    if (!url) {
      return;
    }
    const Owned<LSSharedFileListItemRef> inserted(
        LSSharedFileListInsertItemURL(list_.get(), kLSSharedFileListItemBeforeFirst, nullptr,
                                      nullptr, url.get(), nullptr, nullptr));
  }

  void remove(const LoginItem& item) override {
    const auto* own = dynamic_cast<const MacLoginItem*>(&item);
    if (list_ && own != nullptr) {
      LSSharedFileListItemRemove(list_.get(), own->item());
    }
  }

  std::optional<std::string> ownTarget() override {
    const std::string path = bundleFolder();
    const Owned<CFURLRef> url(CFURLCreateFromFileSystemRepresentation(
        kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path.data()),
        static_cast<CFIndex>(path.size()), true));
    return absoluteText(url.get());
  }

  void setChangeCallback(std::function<void()> callback) override {
    callback_ = std::move(callback);
  }

 private:
  static void listChanged(LSSharedFileListRef /*list*/, void* context) {
    // The callback may destroy the object.
    const std::function<void()> callback = static_cast<MacLoginItems*>(context)->callback_;
    if (callback) {
      callback();
    }
  }

  /// Two URLs are equal to CFEqual exactly when these texts are. nullopt for null.
  static std::optional<std::string> absoluteText(CFURLRef url) {
    if (url == nullptr) {
      return std::nullopt;
    }
    const Owned<CFURLRef> absolute(CFURLCopyAbsoluteURL(url));
    return absolute ? std::optional(macos::text(CFURLGetString(absolute.get()))) : std::nullopt;
  }

  Owned<LSSharedFileListRef> list_;
  std::function<void()> callback_;
};

}  // namespace

std::unique_ptr<LoginItemsList> systemLoginItems() {
  return std::make_unique<MacLoginItems>();
}

}  // namespace talvane
