#include "tests/secret_service/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace talvane::testing {

ChildProcess::ChildProcess(const std::vector<std::string>& command, const std::string& errors,
                           const std::string& input) {
  std::vector<char*> arguments;
  for (const std::string& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  int to_child[2];
  int from_child[2];
  const int error_file = open(errors.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (pipe2(to_child, O_CLOEXEC) != 0 || pipe2(from_child, O_CLOEXEC) != 0) return;
  const pid_t parent = getpid();
  pid_ = fork();
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(127);
    dup2(to_child[0], STDIN_FILENO);
    dup2(from_child[1], STDOUT_FILENO);
    dup2(error_file, STDERR_FILENO);
    execvp(arguments[0], arguments.data());
    _exit(127);
  }
  close(error_file);
  close(to_child[0]);
  close(from_child[1]);
  output_ = from_child[0];
  // Short enough for the pipe to hold it.
  static_cast<void>(!write(to_child[1], input.data(), input.size()));
  close(to_child[1]);
}

ChildProcess::~ChildProcess() {
  release();
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept
    : pid_(std::exchange(other.pid_, -1)), output_(std::exchange(other.output_, -1)) {}

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept {
  if (this != &other) {
    release();
    pid_ = std::exchange(other.pid_, -1);
    output_ = std::exchange(other.output_, -1);
  }
  return *this;
}

void ChildProcess::release() {
  kill();
  if (output_ >= 0) close(std::exchange(output_, -1));
}

void ChildProcess::signal(int number) const {
  if (pid_ > 0) ::kill(pid_, number);
}

void ChildProcess::kill() {
  if (pid_ <= 0) return;
  signal(SIGKILL);
  waitpid(std::exchange(pid_, -1), nullptr, 0);
}

int ChildProcess::finish(std::string* output) {
  if (pid_ <= 0) return -1;
  char buffer[4096];
  ssize_t count = 0;
  while ((count = read(output_, buffer, sizeof buffer)) > 0 || (count < 0 && errno == EINTR)) {
    if (output != nullptr && count > 0) output->append(buffer, static_cast<std::size_t>(count));
  }
  int status = 0;
  waitpid(std::exchange(pid_, -1), &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string ChildProcess::readLine() {
  std::string line;
  char character = 0;
  while (read(output_, &character, 1) == 1 && character != '\n') line.push_back(character);
  return line;
}

}  // namespace talvane::testing
