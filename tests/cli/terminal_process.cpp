#include "tests/cli/terminal_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace talvane::test {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

std::vector<char*> pointers(const std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (const std::string& text : texts) result.push_back(const_cast<char*>(text.c_str()));
  result.push_back(nullptr);
  return result;
}

}  // namespace

TerminalProcess::TerminalProcess(const std::vector<std::string>& command,
                                 const std::vector<std::string>& environment, unsigned short rows,
                                 unsigned short columns) {
  const winsize size{rows, columns, 0, 0};
  const std::vector<char*> arguments = pointers(command);
  const std::vector<char*> variables = pointers(environment);
  child_ = forkpty(&terminal_, nullptr, nullptr, &size);
  if (child_ == 0) {
    execve(arguments[0], arguments.data(), variables.data());
    _exit(127);
  }
  if (child_ < 0) {
    ADD_FAILURE() << "no terminal";
    return;
  }
  fcntl(terminal_, F_SETFD, FD_CLOEXEC);
  std::array<char, 64> name{};
  if (ptsname_r(terminal_, name.data(), name.size()) == 0) {
    other_side_ = open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  }
}

TerminalProcess::~TerminalProcess() {
  if (child_ > 0) {
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
  }
  if (other_side_ >= 0) close(other_side_);
  if (terminal_ >= 0) close(terminal_);
}

bool TerminalProcess::readMore(milliseconds patience) {
  pollfd end{terminal_, POLLIN, 0};
  if (poll(&end, 1, static_cast<int>(patience.count())) <= 0) return false;
  std::array<char, 65536> buffer;
  const ssize_t count = read(terminal_, buffer.data(), buffer.size());
  if (count <= 0) return false;
  shown_.append(buffer.data(), static_cast<std::size_t>(count));
  return true;
}

bool TerminalProcess::await(std::string_view text, std::chrono::seconds patience) {
  if (child_ <= 0) return false;
  const auto deadline = Clock::now() + patience;
  for (;;) {
    if (const std::size_t place = shown_.find(text, seen_); place != std::string::npos) {
      seen_ = place + text.size();
      return true;
    }
    if (readMore(milliseconds(20))) continue;
    siginfo_t end{};
    const bool gone =
        waitid(P_PID, static_cast<id_t>(child_), &end, WEXITED | WNOHANG | WNOWAIT) != 0 ||
        end.si_pid == child_;
    if ((gone && !readMore(milliseconds(100))) || Clock::now() >= deadline) return false;
  }
}

bool TerminalProcess::awaitUnseen() {
  const auto deadline = Clock::now() + std::chrono::seconds(5);
  while (echoes() && Clock::now() < deadline) readMore(milliseconds(2));
  return !echoes();
}

bool TerminalProcess::awaitStopped() {
  if (child_ <= 0) return false;
  const auto deadline = Clock::now() + std::chrono::seconds(5);
  siginfo_t state{};
  do {
    readMore(milliseconds(2));
    if (waitid(P_PID, static_cast<id_t>(child_), &state, WSTOPPED | WNOHANG | WNOWAIT) != 0) break;
  } while (state.si_pid != child_ && Clock::now() < deadline);
  return state.si_pid == child_ && state.si_code == CLD_STOPPED;
}

void TerminalProcess::type(std::string_view text) const {
  EXPECT_EQ(write(terminal_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

void TerminalProcess::sendSignal(int signal) const {
  EXPECT_GT(child_, 0) << "no program to signal";
  // −1 would be every process of the user.
  EXPECT_EQ(child_ > 0 ? kill(child_, signal) : 0, 0);
}

void TerminalProcess::resize(unsigned short rows, unsigned short columns) const {
  const winsize size{rows, columns, 0, 0};
  EXPECT_EQ(ioctl(terminal_, TIOCSWINSZ, &size), 0);
}

Ended TerminalProcess::finish(std::chrono::seconds patience) {
  Ended ended;
  if (child_ <= 0) return ended;
  const auto deadline = Clock::now() + patience;
  int status = 0;
  while (waitpid(child_, &status, WNOHANG) != child_) {
    readMore(milliseconds(5));
    if (Clock::now() >= deadline && !ended.timed_out) {
      ended.timed_out = true;
      kill(child_, SIGKILL);
    }
  }
  child_ = -1;
  while (readMore(milliseconds(20))) {
  }
  if (WIFEXITED(status)) ended.exit_code = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) ended.signal = WTERMSIG(status);
  ended.out = shown_;
  return ended;
}

termios TerminalProcess::settings() const {
  termios result{};
  EXPECT_EQ(tcgetattr(terminal_, &result), 0);
  return result;
}

bool TerminalProcess::echoes() const {
  return (settings().c_lflag & ECHO) != 0;
}

bool TerminalProcess::isOrdinary() const {
  return (settings().c_lflag & (ECHO | ICANON | ISIG)) == (ECHO | ICANON | ISIG);
}

}  // namespace talvane::test
