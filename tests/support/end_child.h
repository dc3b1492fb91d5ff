#pragma once

#include <unistd.h>

#ifdef MEASURES_COVERAGE
#include <sys/resource.h>

extern "C" void __gcov_dump();  // NOLINT(bugprone-reserved-identifier): the compiler's
#endif

namespace talvane::test {

/// Descriptors from here on are those of the files that counts are written to, while a child ends.
inline constexpr int first_count_file = 500;

/// Ends a forked process without its parent's destructors; what it covered counts.
[[noreturn]] inline void endChild(int code) {
#ifdef MEASURES_COVERAGE
  // Under a limit on the size of files, the counts of earlier processes would be cut off.
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_FSIZE, &limit);
  // For `becomeOrdinaryUser`; anyone else's fails, and changes nothing.
  if (geteuid() != 0) static_cast<void>(seteuid(0));
  // For `letCallsFail`.
  for (int taken = 0; taken >= 0 && taken < first_count_file - 1;) taken = dup(STDERR_FILENO);
  __gcov_dump();
#endif
  _exit(code);
}

}  // namespace talvane::test
