#include "cli/holder/tool.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "cli/holder/deadline.h"
#include "engine/cleared.h"
#include "platform/file_descriptor.h"

// POSIX does not declare it in any header.
extern char** environ;

namespace talvane {
namespace {

struct Pipe {
  FileDescriptor out;
  FileDescriptor in;
};

std::optional<Pipe> makePipe() {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) return std::nullopt;
  for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);
  return Pipe{FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

// What the tool inherits and keeps open in the background. Tools close the three standard streams
// and no others.
constexpr int inherited = 9;

struct Streams {
  int in = -1;    // -1: nothing
  int out = -1;   // -1: nowhere
  int kept = -1;  // -1: nothing
};

// Starts the program; 0: that failed.
pid_t start(Tool::Command command, const Streams& streams) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  const auto connect = [&actions](int from, int to, int mode) {
    if (from >= 0) {
      posix_spawn_file_actions_adddup2(&actions, from, to);
    } else {
      posix_spawn_file_actions_addopen(&actions, to, "/dev/null", mode, 0);
    }
  };
  connect(streams.in, STDIN_FILENO, O_RDONLY);
  connect(streams.out, STDOUT_FILENO, O_WRONLY);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  if (streams.kept >= 0) posix_spawn_file_actions_adddup2(&actions, streams.kept, inherited);
  command.push_back(nullptr);
  pid_t child = 0;
  const int error = posix_spawnp(&child, command[0], &actions, nullptr,
                                 const_cast<char* const*>(command.data()), environ);
  posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? child : 0;
}

// Waits for the program; whether it ended well.
bool endsWell(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return false;
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// What the command prints, up to a little more than `most` bytes.
Cleared<std::string> outputOf(const Tool::Command& command, std::size_t most) {
  auto pipe = makePipe();
  if (!pipe) return {};
  const pid_t child = start(command, {-1, pipe->in.get(), -1});
  pipe->in = FileDescriptor();
  if (child == 0) return {};
  Cleared<std::string> text(std::string(most + 1, '\0'));
  std::size_t length = 0;
  while (length < text->size()) {
    const ssize_t count =
        read(pipe->out.get(), text.mutableValue().data() + length, text->size() - length);
    if (count <= 0) break;
    length += static_cast<std::size_t>(count);
  }
  pipe->out = FileDescriptor();
  text.mutableValue().resize(length);
  static_cast<void>(endsWell(child));
  return text;
}

}  // namespace

std::optional<ToolCopy> ToolCopy::make(const Tool& tool, const Cleared<std::string>& text) {
  auto input = makePipe();
  auto life = makePipe();
  if (!input || !life) return std::nullopt;
  const pid_t child = start(tool.copy, {input->out.get(), -1, life->in.get()});
  if (child == 0) return std::nullopt;
  input->out = FileDescriptor();
  life->in = FileDescriptor();
  const bool written =
      write(input->in.get(), text->data(), text->size()) == static_cast<ssize_t>(text->size());
  input->in = FileDescriptor();
  if (!endsWell(child) || !written) return std::nullopt;
  ToolCopy copy;
  copy.tool_ = tool;
  copy.text_ = text;
  copy.end_ = std::move(life->out);
  return copy;
}

void ToolCopy::clearAt(const Deadline& deadline) const {
  const bool stays = tool_.paste.empty();
  pollfd end{stays ? end_.get() : -1, 0, 0};
  while (!deadline.hasPassed()) {
    if (poll(&end, 1, deadline.milliseconds()) > 0) return;
  }
  if (!stays && outputOf(tool_.paste, text_->size()) != text_) return;
  const pid_t child = start(tool_.clear, {});
  if (child != 0) static_cast<void>(endsWell(child));
}

}  // namespace talvane
