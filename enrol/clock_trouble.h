#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace talvane {

/// What to tell a user whose clock differs from the server's by this many seconds (positive: the
/// server is ahead); nullopt while it matters to no passcode.
std::optional<std::string> clockTrouble(std::int64_t server_ahead);

}  // namespace talvane
