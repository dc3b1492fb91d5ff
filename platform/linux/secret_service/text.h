#pragma once

// Secrets as one line of base64 text (RFC 4648, with padding): a collection without a password is a
// text file, which raw bytes and line ends would break.

#include <string>
#include <string_view>

#include "engine/cleared.h"
#include "platform/keychain_service.h"

namespace talvane::secret_service {

Cleared<std::string> secretText(const SecretBytes& secret);

/// Returns false, and leaves `*secret` unchanged, if the text is not base64. Allows white space at
/// its end, as in restored or hand-made items.
[[nodiscard]] bool readSecretText(std::string_view text, SecretBytes* secret);

}  // namespace talvane::secret_service
