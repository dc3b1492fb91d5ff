#include "ui/panel/shown_tokens.h"

#include <utility>

#include "engine/text.h"
#include "engine/vane.h"

namespace talvane {

void ShownTokens::read() {
  clear();
  vane::log("APP: openWindow: reading tokens...");
  if (auto stored = store_.read()) {
    stored_ = std::move(*stored);
    if (stored_.obstacle) trouble_ = stored_.obstacle->words;
  } else {
    trouble_ = stored.error().words;
  }
  vane::log("APP: openWindow: found {} tokens", count());
  for (int i = 0; i < count(); ++i) {
    const SoftTokenInfo& token = *stored_.list[static_cast<std::size_t>(i)];
    vane::log("APP: openWindow: token[{:02}] d:{} s:{}", i, orNil(token.currentDescription()),
              token.seed32 ? token.seed32->get() : std::string(nil_text));
  }
}

void ShownTokens::clear() {
  stored_ = {};
  trouble_.clear();
}

}  // namespace talvane
