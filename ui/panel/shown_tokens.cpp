#include "ui/panel/shown_tokens.h"

#include <cstddef>
#include <string>
#include <utility>

#include "engine/soft_token_info.h"
#include "engine/text.h"
#include "engine/vane.h"
#include "platform/translation.h"
#include "store/stored_tokens.h"

namespace talvane {

namespace {

std::string wordsFor(const Obstacle& obstacle) {
  return obstacle.kind == Obstacle::Kind::gap
             ? translatedWith("{}; close the gap in Edit", obstacle.words)
             : translatedWith("{}; {}, or delete it in Edit and add the token again",
                              obstacle.words, obstacle.repair);
}

}  // namespace

void ShownTokens::read() {
  clear();
  vane::log("APP: openWindow: reading tokens...");
  if (auto stored = store_.read()) {
    TOKEN = std::move(*stored);
    TOKENS = static_cast<int>(TOKEN.list.size());
    if (TOKEN.obstacle) trouble_ = wordsFor(*TOKEN.obstacle);
  } else {
    trouble_ = stored.error().words;
    can_unlock_ = stored.error().locked && store_.canUnlock();
  }
  vane::log("APP: openWindow: found {} tokens", TOKENS);
  for (int i = 0; i < TOKENS; ++i) {
    const SoftTokenInfo& token = *TOKEN.list[static_cast<std::size_t>(i)];
    vane::log("APP: openWindow: token[{:02}] d:{} s:{}", i, orNil(token.currentDescription()),
              token.seed32 ? token.seed32->get() : std::string(nil_text));
  }
}

void ShownTokens::clear() {
  TOKEN = {};
  TOKENS = 0;
  trouble_.clear();
  can_unlock_ = false;
}

bool ShownTokens::isStillLocked() {
  const auto room = store_.checkRoom();
  return !room && room.error().locked;
}

}  // namespace talvane
