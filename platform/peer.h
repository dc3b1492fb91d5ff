#pragma once

namespace talvane {

/// Whether the process at the other end of a connected local socket runs as this user. False also
/// if the system does not tell.
[[nodiscard]] bool peerIsThisUser(int socket);

}  // namespace talvane
