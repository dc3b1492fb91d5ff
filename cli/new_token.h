#pragma once

#include <string>

#include "cli/exit_codes.h"
#include "cli/session.h"

namespace talvane {

/// Throws Failure with that code when the token's names are empty or cannot be stored.
void requireUsableNames(const SoftTokenInfo& token, ExitCode code);

/// Stores a new token as one change of the store, makes sure that it can be read back, and prints
/// where it went and, for a 13-character seed, the response code. A token created under the same
/// name is replaced only when `replace` is set. Throws Failure, and then nothing has changed.
void storeNewToken(Session& session, const SoftTokenInfo& token, bool replace);

}  // namespace talvane
