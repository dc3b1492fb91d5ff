#pragma once

#include <unistd.h>

#ifdef MEASURES_COVERAGE
extern "C" void __gcov_dump();  // NOLINT(bugprone-reserved-identifier): the compiler's
#endif

namespace talvane::test {

/// Ends a forked process without its parent's destructors; what it covered counts.
[[noreturn]] inline void endChild(int code) {
#ifdef MEASURES_COVERAGE
  __gcov_dump();
#endif
  _exit(code);
}

}  // namespace talvane::test
