#include "tests/cli/process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <optional>

namespace talvane::test {
namespace {

using Clock = std::chrono::steady_clock;

struct Pipe {
  int read = -1;
  int write = -1;
};

Pipe makePipe() {
  std::array<int, 2> ends{};
  EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  return {ends[0], ends[1]};
}

void closeEnd(int* end) {
  if (*end >= 0) ::close(*end);
  *end = -1;
}

std::vector<char*> pointers(const std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (const std::string& text : texts) result.push_back(const_cast<char*>(text.c_str()));
  result.push_back(nullptr);
  return result;
}

// The stream's file, or `end` when there is none.
void connect(posix_spawn_file_actions_t* actions, int stream, const char* file, int end,
             int flags) {
  if (file == nullptr) {
    posix_spawn_file_actions_adddup2(actions, end, stream);
  } else if (std::strcmp(file, Streams::closed) == 0) {
    posix_spawn_file_actions_addclose(actions, stream);
  } else {
    posix_spawn_file_actions_addopen(actions, stream, file, flags, 0600);
  }
}

// The program's path, as the PATH in `environment` finds it.
std::string found(const std::string& program, const std::vector<std::string>& environment) {
  if (program.find('/') != std::string::npos) return program;
  for (const std::string& entry : environment) {
    if (entry.rfind("PATH=", 0) != 0) continue;
    std::size_t begin = 5;
    while (begin <= entry.size()) {
      const std::size_t end = std::min(entry.find(':', begin), entry.size());
      std::string path = entry.substr(begin, end - begin) + '/' + program;
      if (access(path.c_str(), X_OK) == 0) return path;
      begin = end + 1;
    }
  }
  return program;
}

// Appends what is there to read; false at the end.
bool drain(int end, std::string* text) {
  std::array<char, 65536> buffer;
  const ssize_t count = read(end, buffer.data(), buffer.size());
  if (count > 0) text->append(buffer.data(), static_cast<std::size_t>(count));
  return count > 0 || (count < 0 && (errno == EINTR || errno == EAGAIN));
}

}  // namespace

RunningProcess::RunningProcess(const std::vector<std::string>& command,
                               const std::vector<std::string>& environment, const Streams& streams)
    : input_(streams.input) {
  // Whoever does not read what it is fed must not end the test.
  std::signal(SIGPIPE, SIG_IGN);
  Pipe in = makePipe();
  Pipe out = makePipe();
  Pipe err = makePipe();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  connect(&actions, STDIN_FILENO, streams.input_file, in.read, O_RDONLY);
  connect(&actions, STDOUT_FILENO, streams.out_file, out.write, O_WRONLY);
  connect(&actions, STDERR_FILENO, streams.err_file, err.write, O_WRONLY);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  const std::string program = found(command.front(), environment);
  const int error = posix_spawn(&child_, program.c_str(), &actions, &attributes,
                                pointers(command).data(), pointers(environment).data());
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    ADD_FAILURE() << program << ": " << std::strerror(error);
    child_ = -1;
  }
  ::close(in.read);
  ::close(out.write);
  ::close(err.write);
  in_ = in.write;
  out_ = out.read;
  err_ = err.read;
  fcntl(in_, F_SETFL, O_NONBLOCK);
}

RunningProcess::~RunningProcess() {
  close();
}

void RunningProcess::close() {
  closeEnd(&in_);
  closeEnd(&out_);
  closeEnd(&err_);
  if (child_ <= 0) return;
  kill(child_, SIGKILL);
  waitpid(child_, nullptr, 0);
  child_ = -1;
}

Ended RunningProcess::finish(std::chrono::seconds patience) {
  Ended ended;
  if (child_ <= 0) return ended;
  const auto deadline = Clock::now() + patience;
  std::string_view unwritten = input_;
  if (unwritten.empty()) closeEnd(&in_);
  while (in_ >= 0 || out_ >= 0 || err_ >= 0) {
    std::array<pollfd, 3> ends = {pollfd{in_, POLLOUT, 0}, {out_, POLLIN, 0}, {err_, POLLIN, 0}};
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() <= 0 || poll(ends.data(), ends.size(), static_cast<int>(left.count())) == 0) {
      ended.timed_out = true;
      kill(child_, SIGKILL);
      break;
    }
    if (in_ >= 0 && ends[0].revents != 0) {
      const ssize_t count = write(in_, unwritten.data(), unwritten.size());
      if (count > 0) unwritten.remove_prefix(static_cast<std::size_t>(count));
      consumed_ = input_.size() - unwritten.size();
      if (unwritten.empty() || (count < 0 && errno != EAGAIN && errno != EINTR)) closeEnd(&in_);
    }
    if (out_ >= 0 && ends[1].revents != 0 && !drain(out_, &ended.out)) closeEnd(&out_);
    if (err_ >= 0 && ends[2].revents != 0 && !drain(err_, &ended.err)) closeEnd(&err_);
  }
  int status = 0;
  for (;;) {
    const pid_t waited = waitpid(child_, &status, ended.timed_out ? 0 : WNOHANG);
    if (waited == child_) break;
    if (waited < 0 && errno != EINTR) break;
    if (Clock::now() >= deadline) {
      ended.timed_out = true;
      kill(child_, SIGKILL);
    }
    usleep(1000);
  }
  child_ = -1;
  if (WIFEXITED(status)) ended.exit_code = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) ended.signal = WTERMSIG(status);
  return ended;
}

Ended runProcess(const std::vector<std::string>& command,
                 const std::vector<std::string>& environment, const Streams& streams,
                 std::chrono::seconds patience) {
  return RunningProcess(command, environment, streams).finish(patience);
}

}  // namespace talvane::test
