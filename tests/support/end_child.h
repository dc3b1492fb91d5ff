#pragma once

#include <unistd.h>

// Of the compiler's runtime, where coverage is measured.
extern "C" void __gcov_dump() __attribute__((weak));  // NOLINT(bugprone-reserved-identifier)

namespace talvane::test {

/// Ends a forked process without its parent's destructors; what it covered counts.
[[noreturn]] inline void endChild(int code) {
  if (__gcov_dump != nullptr) __gcov_dump();
  _exit(code);
}

}  // namespace talvane::test
