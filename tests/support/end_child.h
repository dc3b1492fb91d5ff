#pragma once

#include <unistd.h>

#ifdef MEASURES_COVERAGE
#include <sys/resource.h>

extern "C" void __gcov_dump();  // NOLINT(bugprone-reserved-identifier): the compiler's
#endif

namespace talvane::test {

/// Ends a forked process without its parent's destructors; what it covered counts.
[[noreturn]] inline void endChild(int code) {
#ifdef MEASURES_COVERAGE
  // Under a limit on the size of files, the counts of earlier processes would be cut off.
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_FSIZE, &limit);
  __gcov_dump();
#endif
  _exit(code);
}

}  // namespace talvane::test
