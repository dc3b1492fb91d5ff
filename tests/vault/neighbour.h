#pragma once

#include <unistd.h>

#include <csignal>

#include "tests/support/in_child.h"
#include "tests/vault/vault_support.h"

namespace talvane::test {

/// A process that does `work` and then stays until the end of the scope.
class Neighbour {
 public:
  template <typename Work>
  explicit Neighbour(const Work& work) {
    EXPECT_EQ(pipe(ready_), 0);
    child_ = fork();
    if (child_ == 0) {
      work();
      const char done = testing::Test::HasFailure() ? '-' : '+';
      if (write(ready_[1], &done, 1) != 1) _exit(1);
      for (;;) pause();
    }
    char answer = 0;
    EXPECT_EQ(read(ready_[0], &answer, 1), 1);
    EXPECT_EQ(answer, '+');
  }
  ~Neighbour() { end(); }
  Neighbour(const Neighbour&) = delete;
  Neighbour& operator=(const Neighbour&) = delete;

  /// Kills it, as a crash would.
  void end() {
    if (child_ <= 0) return;
    kill(child_, SIGKILL);
    static_cast<void>(resultOf(child_));
    child_ = 0;
    close(ready_[0]);
    close(ready_[1]);
  }

 private:
  int ready_[2] = {-1, -1};
  pid_t child_ = 0;
};

}  // namespace talvane::test
