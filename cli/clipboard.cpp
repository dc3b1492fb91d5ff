#include "cli/clipboard.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <string>

#include "cli/exit_codes.h"
#include "cli/failure.h"
#include "engine/cleared.h"
#include "platform/folders.h"

// POSIX does not declare it in any header.
extern char** environ;

namespace talvane {
namespace {

// A pipe that no program inherits, except one that another thread starts at this moment.
bool makePipe(std::array<int, 2>* ends) {
  if (pipe(ends->data()) != 0) return false;
  for (const int end : *ends) fcntl(end, F_SETFD, FD_CLOEXEC);
  return true;
}

// Runs the program with the text on its standard input. False: it is missing or failed.
bool feed(const std::array<const char*, 3>& command, const Cleared<std::string>& text) {
  std::array<int, 2> ends{};
  if (!makePipe(&ends)) return false;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[0], STDIN_FILENO);
  // It stays in the background to serve the text, and must not hold our output open.
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  const int error = posix_spawn(&child, command[0], &actions, nullptr,
                                const_cast<char* const*>(command.data()), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[0]);
  bool written = false;
  if (error == 0) {
    written = write(ends[1], text->data(), text->size()) == static_cast<ssize_t>(text->size());
  }
  close(ends[1]);
  if (error != 0) return false;
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return written && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

void copyToClipboard(const Cleared<std::string>& text, std::chrono::seconds longest) {
  std::signal(SIGPIPE, SIG_IGN);
  const std::string holder = moduleFolder() + "/clipboard";
  const std::string seconds = std::to_string(longest.count());
  if (feed({holder.c_str(), seconds.c_str(), nullptr}, text)) return;
  throw Failure(
      exit_failed,
      "Cannot reach the clipboard; run this on a desktop, with wl-clipboard, xclip or xsel "
      "installed");
}

}  // namespace talvane
