#include "tests/desktop/program.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <sstream>
#include <utility>

namespace talvane::test {
namespace {

std::vector<char*> pointers(const Strings& texts) {
  std::vector<char*> result;
  for (const std::string& text : texts) result.push_back(const_cast<char*>(text.c_str()));
  result.push_back(nullptr);
  return result;
}

std::vector<pid_t> children() {
  std::ifstream list("/proc/self/task/" + std::to_string(getpid()) + "/children");
  std::vector<pid_t> result;
  for (pid_t id = 0; list >> id;) result.push_back(id);
  return result;
}

std::string nameOf(pid_t id) {
  std::ifstream file("/proc/" + std::to_string(id) + "/comm");
  std::string name;
  std::getline(file, name);
  return name;
}

}  // namespace

Program::Program(const Strings& command, const Strings& environment, const std::string& output) {
  // Made before the fork, behind which little is allowed.
  const std::vector<char*> arguments = pointers(command);
  const std::vector<char*> variables = pointers(environment);
  const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
  const pid_t parent = getpid();
  id_ = fork();
  if (id_ == 0) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(127);
    dup2(nothing, STDIN_FILENO);
    dup2(file, STDOUT_FILENO);
    dup2(file, STDERR_FILENO);
    execvpe(arguments[0], arguments.data(), variables.data());
    _exit(127);
  }
  setpgid(id_, id_);
  close(file);
  close(nothing);
}

Program::~Program() {
  kill();
}

Program::Program(Program&& other) noexcept
    : id_(std::exchange(other.id_, -1)), end_(std::exchange(other.end_, std::nullopt)) {}

Program& Program::operator=(Program&& other) noexcept {
  if (this != &other) {
    kill();
    id_ = std::exchange(other.id_, -1);
    end_ = std::exchange(other.end_, std::nullopt);
  }
  return *this;
}

bool Program::runs() {
  return id_ > 0 && !end(std::chrono::milliseconds(0));
}

std::optional<int> Program::end(std::chrono::milliseconds patience) {
  if (id_ <= 0 || end_) return end_;
  until(
      [this] {
        int status = 0;
        if (waitpid(id_, &status, WNOHANG) != id_) return false;
        end_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
        return true;
      },
      patience);
  return end_;
}

void Program::signal(int number) const {
  if (id_ > 0 && !end_) ::kill(id_, number);
}

void Program::kill() {
  if (id_ <= 0) return;
  // The group may outlive its leader.
  ::kill(-id_, SIGKILL);
  if (!end_) waitpid(id_, nullptr, 0);
  id_ = -1;
  end_.reset();
}

void adoptOrphans() {
  prctl(PR_SET_CHILD_SUBREAPER, 1);
}

Strings killLeftovers() {
  const auto reap = [] {
    while (waitpid(-1, nullptr, WNOHANG) > 0) {
    }
    return children().empty();
  };
  Strings killed;
  // The children of what is killed come here next.
  while (!until(reap, std::chrono::seconds(1))) {
    for (const pid_t id : children()) {
      killed.push_back(nameOf(id));
      ::kill(id, SIGKILL);
    }
  }
  return killed;
}

}  // namespace talvane::test
