#include "platform/macos/pasteboard_macos.h"

#include <ApplicationServices/ApplicationServices.h>
#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>

#include "platform/macos/core_foundation.h"

namespace talvane::macos {
namespace {

bool put(PasteboardRef pasteboard, CFStringRef flavor, const std::string& bytes) {
  const Owned<CFDataRef> data(CFDataCreate(nullptr,
                                           reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                           static_cast<CFIndex>(bytes.size())));
  // One item; any number but 0 identifies it.
  const auto item = reinterpret_cast<PasteboardItemID>(std::uintptr_t{1});
  return data && PasteboardPutItemFlavor(pasteboard, item, flavor, data.get(),
                                         kPasteboardFlavorNoFlags) == noErr;
}

}  // namespace

bool copyConcealedText(const std::string& text) {
  PasteboardRef created = nullptr;
  if (PasteboardCreate(kPasteboardClipboard, &created) != noErr) return false;
  const Owned<PasteboardRef> pasteboard(created);
  if (PasteboardClear(pasteboard.get()) != noErr) return false;
  return put(pasteboard.get(), CFSTR("public.utf8-plain-text"), text) &&
         put(pasteboard.get(), CFSTR("org.nspasteboard.ConcealedType"), "");
}

}  // namespace talvane::macos
