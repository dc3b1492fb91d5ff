#pragma once

#include <cstdint>

namespace talvane::test {

/// What the gateway's clock shows, in seconds since the Unix epoch. It stands until it is set.
inline std::int64_t clock_time = 0;

}  // namespace talvane::test
