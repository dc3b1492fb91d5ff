// Runs a program and kills it when one of its processes or threads is about to make a system call.
//
//   softtoken-torture-kill [--changing] DESCRIPTOR NUMBER PROGRAM [ARGUMENT...]
//
// Kills at the system call NUMBER, from 1; with --changing only those count that change files, or
// what other programs see of them. 0: at none. Writes one line to the descriptor: the count of
// calls so far and the number of the last. Ends with 0 when it has killed, else 3 when the program
// ended by itself with 0, and 4 when it ended otherwise.

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string_view>

namespace {

constexpr int killed = 0;
constexpr int ended_well = 3;
constexpr int ended_badly = 4;

using SystemCall = __ptrace_syscall_info;

bool opensToChange(const SystemCall& info, unsigned which) {
  constexpr unsigned changing = O_WRONLY | O_RDWR | O_CREAT | O_TRUNC;
  return (info.entry.args[which] & changing) != 0;
}

bool changes(const SystemCall& info) {
  switch (info.entry.nr) {
#ifdef SYS_open
    case SYS_open:
      return opensToChange(info, 1);
    case SYS_rename:
    case SYS_unlink:
    case SYS_link:
    case SYS_symlink:
    case SYS_mkdir:
    case SYS_rmdir:
    case SYS_chmod:
#endif
    case SYS_write:
    case SYS_pwrite64:
    case SYS_writev:
    case SYS_pwritev:
    case SYS_sendto:
    case SYS_sendmsg:
    case SYS_renameat2:
    case SYS_unlinkat:
    case SYS_linkat:
    case SYS_symlinkat:
    case SYS_mkdirat:
    case SYS_ftruncate:
    case SYS_fallocate:
    case SYS_fsync:
    case SYS_fdatasync:
    case SYS_fchmod:
    case SYS_fchmodat:
    case SYS_flock:
      return true;
    case SYS_openat:
      return opensToChange(info, 2);
    default:
      return false;
  }
}

[[noreturn]] void trace(char** command) {
  ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
  raise(SIGSTOP);
  execvp(command[0], command);
  _exit(127);
}

class Tracer {
 public:
  Tracer(pid_t first, bool only_changing, long number)
      : first_(first), only_changing_(only_changing), number_(number) {}

  int run() {
    int status = 0;
    waitpid(first_, &status, 0);
    constexpr long options = PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL | PTRACE_O_TRACECLONE |
                             PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK | PTRACE_O_TRACEEXEC;
    ptrace(PTRACE_SETOPTIONS, first_, nullptr, options);
    ptrace(PTRACE_SYSCALL, first_, nullptr, nullptr);
    for (;;) {
      const pid_t stopped = waitpid(-1, &status, __WALL);
      if (stopped < 0) return errno == ECHILD ? outcome_ : ended_badly;
      if (WIFEXITED(status) || WIFSIGNALED(status)) {
        const bool well = WIFEXITED(status) && WEXITSTATUS(status) == 0;
        if (stopped == first_) outcome_ = well ? ended_well : ended_badly;
        continue;
      }
      if (!go(stopped, status)) return killed;
    }
  }
  [[nodiscard]] long calls() const { return calls_; }
  [[nodiscard]] unsigned long last() const { return last_; }

 private:
  // False: all have been killed.
  bool go(pid_t stopped, int status) {
    const int signal = WSTOPSIG(status);
    const bool is_new = seen_.insert(stopped).second;
    if (signal == (SIGTRAP | 0x80)) {
      if (isItsTurn(stopped)) {
        killAll();
        return false;
      }
      ptrace(PTRACE_SYSCALL, stopped, nullptr, nullptr);
      return true;
    }
    const bool is_event = signal == SIGTRAP && status >> 16 != 0;
    const bool begins = is_new && signal == SIGSTOP;
    ptrace(PTRACE_SYSCALL, stopped, nullptr, is_event || begins ? 0 : signal);
    return true;
  }

  bool isItsTurn(pid_t stopped) {
    SystemCall info{};
    ptrace(PTRACE_GET_SYSCALL_INFO, stopped, sizeof(info), &info);
    if (info.op != PTRACE_SYSCALL_INFO_ENTRY) return false;
    if (only_changing_ && !changes(info)) return false;
    ++calls_;
    last_ = info.entry.nr;
    return calls_ == number_;
  }

  void killAll() {
    kill(first_, SIGKILL);
    for (const pid_t one : seen_) kill(one, SIGKILL);
    while (waitpid(-1, nullptr, __WALL) > 0) {
    }
  }

  pid_t first_;
  bool only_changing_;
  long number_;
  long calls_ = 0;
  unsigned long last_ = 0;
  int outcome_ = ended_badly;
  std::set<pid_t> seen_;
};

}  // namespace

int main(int argc, char** argv) {
  int at = 1;
  const bool only_changing = argc > 1 && std::string_view(argv[1]) == "--changing";
  if (only_changing) ++at;
  if (argc < at + 3) return 2;
  const int report = static_cast<int>(std::strtol(argv[at], nullptr, 10));
  const long number = std::strtol(argv[at + 1], nullptr, 10);
  fcntl(report, F_SETFD, FD_CLOEXEC);
  const pid_t child = fork();
  if (child < 0) return 2;
  if (child == 0) trace(argv + at + 2);
  Tracer tracer(child, only_changing, number);
  const int outcome = tracer.run();
  dprintf(report, "%ld %lu\n", tracer.calls(), tracer.last());
  return outcome;
}
