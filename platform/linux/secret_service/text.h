#pragma once

// Secrets as one line of base64 text (RFC 4648, with padding): a collection without a password is
// kept as a text file, which raw bytes and line ends would break.

#include <string>
#include <string_view>

#include "platform/keychain_service.h"

namespace talvane::secret_service {

Cleared<std::string> secretText(const SecretBytes& secret);

/// False, with `*secret` untouched, when the text is not base64. White space at its end is allowed:
/// it is what a restored or hand-made item has there.
[[nodiscard]] bool readSecretText(std::string_view text, SecretBytes* secret);

}  // namespace talvane::secret_service
