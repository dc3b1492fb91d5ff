#pragma once

#include "cli/session.h"
#include "engine/soft_token_info.h"

namespace talvane {

/// Stores a new token and prints where it went and, for a 13-character seed, the response code. A
/// token created under the same name is replaced only when `replace` is set. Throws Failure, and
/// then has changed nothing.
void addToken(Session& session, const SoftTokenInfo& token, bool replace);

}  // namespace talvane
