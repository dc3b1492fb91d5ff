#pragma once

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <string>

#include "tests/support/end_child.h"

namespace talvane::test {

/// An ordinary user for tests that run as root.
inline constexpr uid_t nobody = 65534;

/// How a child ended. 0: by itself and well. Otherwise its exit code, or minus the signal.
inline int resultOf(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

/// Runs `work` in a process of its own and expects that no expectation in it fails, that it does
/// not crash, and that it ends within `seconds`.
inline void inChild(const std::function<void()>& work, unsigned seconds = 30) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    std::signal(SIGALRM, SIG_DFL);
    alarm(seconds);
    try {
      work();
    } catch (const std::exception& thrown) {
      ADD_FAILURE() << "thrown: " << thrown.what();
    }
    std::fflush(nullptr);
    endChild(testing::Test::HasFailure() ? 1 : 0);
  }
  const int result = child < 0 ? -1 : resultOf(child);
  EXPECT_NE(result, -SIGALRM) << "it hung";
  EXPECT_TRUE(result == 0 || result == -SIGALRM) << "it ended with " << result;
}

/// Makes this process, which is root's, that user's.
inline void becomeOrdinaryUser(uid_t user = nobody) {
  ASSERT_EQ(setgroups(0, nullptr), 0);
  ASSERT_EQ(setgid(nobody), 0);
#ifdef MEASURES_COVERAGE
  // `endChild` comes back from here, as root alone can write down what was covered.
  ASSERT_EQ(setresuid(user, user, 0), 0);
#else
  ASSERT_EQ(setuid(user), 0);
#endif
}

/// As `inChild`; for root as an ordinary user, who gets `folder` and what is in it.
inline void asOrdinaryUser(const std::string& folder, const std::function<void()>& work) {
  const bool root = geteuid() == 0;
  if (root) {
    EXPECT_EQ(chown(folder.c_str(), nobody, nobody), 0);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
      EXPECT_EQ(lchown(entry.path().c_str(), nobody, nobody), 0);
    }
  }
  inChild([&] {
    if (root) becomeOrdinaryUser();
    ASSERT_FALSE(testing::Test::HasFatalFailure());
    work();
  });
}

}  // namespace talvane::test
