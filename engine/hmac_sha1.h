#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace talvane {

/// HMAC with SHA-1 (RFC 2104). The build chooses the system's own implementation.
std::array<std::uint8_t, 20> hmacSha1(std::span<const std::uint8_t> key,
                                      std::span<const std::uint8_t> message);

}  // namespace talvane
