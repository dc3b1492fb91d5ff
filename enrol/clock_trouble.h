#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace talvane {

/// What to tell a user whose clock differs from the server's by this many seconds (positive if the
/// server is ahead); nullopt if the difference affects no passcode.
std::optional<std::string> clockTrouble(std::int64_t server_ahead);

}  // namespace talvane
