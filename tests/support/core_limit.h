#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/types.h>

namespace talvane::test {

/// Lets this program, and those that it starts in this scope, leave core dumps.
class WithCoreDumps {
 public:
  static constexpr rlim_t limit = 4096;

  /// Whether this program may allow them: who started it may have forbidden them for good.
  static bool arePossible() {
    rlimit now{};
    return getrlimit(RLIMIT_CORE, &now) == 0 && now.rlim_max >= limit;
  }

  WithCoreDumps() {
    EXPECT_EQ(getrlimit(RLIMIT_CORE, &before_), 0);
    const rlimit some{limit, before_.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_CORE, &some), 0);
  }
  ~WithCoreDumps() { setrlimit(RLIMIT_CORE, &before_); }
  WithCoreDumps(const WithCoreDumps&) = delete;
  WithCoreDumps& operator=(const WithCoreDumps&) = delete;

 private:
  rlimit before_{};
};

/// How large a core dump of the process may become; 0 is this one.
inline rlim_t coreLimitOf(pid_t process) {
  rlimit limit{};
  EXPECT_EQ(prlimit(process, RLIMIT_CORE, nullptr, &limit), 0);
  return limit.rlim_cur;
}

}  // namespace talvane::test
