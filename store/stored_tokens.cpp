#include "store/stored_tokens.h"

#include "engine/soft_token_info.h"

namespace talvane {

bool isSameToken(const SoftTokenInfo& a, const SoftTokenInfo& b) {
  return a.originalDescription() == b.originalDescription() && a.seed32 && b.seed32 &&
         a.seed32->get() == b.seed32->get();
}

}  // namespace talvane
