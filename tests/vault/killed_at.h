#pragma once

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <vector>

#include "tests/support/in_child.h"

namespace talvane::test {

/// A process that does `work`, held at each of its system calls.
class TracedProcess {
 public:
  explicit TracedProcess(const std::function<void()>& work) : child_(fork()) {
    if (child_ == 0) {
      if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(refused);
      raise(SIGSTOP);
      work();
      _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    if (waitForStop()) {
      ptrace(PTRACE_SETOPTIONS, child_, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    }
  }
  ~TracedProcess() {
    if (running_) kill();
  }
  TracedProcess(const TracedProcess&) = delete;
  TracedProcess& operator=(const TracedProcess&) = delete;

  /// Lets it run until it enters its next call, and gives the call's number; -1: it has ended.
  long nextCall() {
    while (running_) {
      ptrace(PTRACE_SYSCALL, child_, nullptr, nullptr);
      if (!waitForStop()) break;
      if (WSTOPSIG(status_) != (SIGTRAP | 0x80)) continue;
      __ptrace_syscall_info info{};
      ptrace(PTRACE_GET_SYSCALL_INFO, child_, sizeof info, &info);
      if (info.op == PTRACE_SYSCALL_INFO_ENTRY) return static_cast<long>(info.entry.nr);
    }
    return -1;
  }
  /// Kills it; the call that it is held at is not made.
  void kill() {
    ::kill(child_, SIGKILL);
    while (waitForStop()) {
    }
  }
  /// Once it has ended: by itself and well.
  [[nodiscard]] bool endedWell() const { return WIFEXITED(status_) && WEXITSTATUS(status_) == 0; }

  /// Whether the system lets a process be traced here.
  static bool possible() {
    TracedProcess process([] {});
    while (process.nextCall() >= 0) {
    }
    return process.endedWell();
  }

 private:
  static constexpr int refused = 77;

  bool waitForStop() {
    running_ = waitpid(child_, &status_, __WALL) == child_ && WIFSTOPPED(status_);
    return running_;
  }

  pid_t child_;
  int status_ = 0;
  bool running_ = false;
};

/// The numbers of the system calls that `work` makes.
inline std::vector<long> callsOf(const std::function<void()>& work) {
  std::vector<long> calls;
  TracedProcess process(work);
  for (long call = process.nextCall(); call >= 0; call = process.nextCall()) calls.push_back(call);
  EXPECT_TRUE(process.endedWell());
  return calls;
}

/// Does `work` in a process that is killed when it is about to make the call after the first
/// `count`. False: it has ended before.
inline bool killedAfterCalls(int count, const std::function<void()>& work) {
  TracedProcess process(work);
  for (int i = 0; i < count; ++i) {
    if (process.nextCall() >= 0) continue;
    EXPECT_TRUE(process.endedWell());
    return false;
  }
  process.kill();
  return true;
}

}  // namespace talvane::test
