#pragma once

namespace talvane::test {

/// Whether a sanitizer is built in. It keeps freed memory for a while, forbids core dumps, and
/// writes warnings of its own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

}  // namespace talvane::test
