// Copies standard input to the clipboard, marked as secret where the desktop knows that, and stays
// in the background to clear it. Ends with 0 once it is copied. Started by softtoken-cli:
//
//   clipboard SECONDS     how long the clipboard may hold it; 0: until it is replaced

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "cli/holder/deadline.h"
#include "cli/holder/selection.h"
#include "cli/holder/tool.h"
#include "engine/cleared.h"
#include "platform/core_dumps.h"

namespace talvane {
namespace {

constexpr unsigned patience = 10;  // seconds, for a desktop that does not answer

bool isSet(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && value[0] != '\0';
}

Cleared<std::string> readInput() {
  constexpr std::size_t most = 64;
  Cleared<std::string> text(std::string(most, '\0'));
  std::size_t length = 0;
  while (length < most) {
    const ssize_t count = read(STDIN_FILENO, text.mutableValue().data() + length, most - length);
    if (count <= 0) break;
    length += static_cast<std::size_t>(count);
  }
  text.mutableValue().resize(length);
  return text;
}

// Lets the parent end, and goes on without its terminal and pipes.
void goToBackground() {
  const pid_t child = fork();
  if (child != 0) _exit(child > 0 ? 0 : 1);
  setsid();
  const int nothing = open("/dev/null", O_RDWR);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(nothing, stream);
  if (nothing > STDERR_FILENO) close(nothing);
  static_cast<void>(!chdir("/"));
}

int run(const Deadline& deadline) {
  const Cleared<std::string> text = readInput();
  if (text->empty()) return 1;
  alarm(patience);

  const auto withTool = [&](const Tool& tool) {
    const auto copy = ToolCopy::make(tool, text);
    if (!copy) return false;
    alarm(0);
    if (deadline.isNever()) return true;
    goToBackground();
    copy->clearAt(deadline);
    return true;
  };
  const auto withSelection = [&] {
    const auto selection = takeSelection(text);
    if (selection == nullptr) return false;
    alarm(0);
    goToBackground();
    selection->serve(deadline);
    return true;
  };

  const Tool::Command clear_wayland{"wl-copy", "--clear"};
  std::vector<std::function<bool()>> ways;
  if (isSet("WAYLAND_DISPLAY")) {
    // Older versions do not know the mark.
    ways.emplace_back([&] {
      return withTool({{"wl-copy", "--sensitive", "--type", "text/plain"}, clear_wayland});
    });
    ways.emplace_back([&] {
      return withTool({{"wl-copy", "--type", "text/plain"}, clear_wayland});
    });
  }
  if (isSet("DISPLAY")) {
    ways.emplace_back(withSelection);
    ways.emplace_back([&] {
      return withTool({{"xclip", "-selection", "clipboard", "-in"},
                       {"xclip", "-selection", "clipboard", "-in", "/dev/null"}});
    });
    ways.emplace_back([&] {
      return withTool({{"xsel", "--clipboard", "--input"}, {"xsel", "--clipboard", "--clear"}});
    });
  }
  ways.emplace_back([&] { return withTool({{"pbcopy"}, {"pbcopy"}, {"pbpaste"}}); });
  for (const auto& way : ways) {
    if (way()) return 0;
  }
  return 1;
}

}  // namespace
}  // namespace talvane

int main(int argc, char** argv) {
  talvane::forbidCoreDumps();
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGALRM, SIG_DFL);
  if (argc != 2) return 2;
  return talvane::run(talvane::Deadline(std::chrono::seconds(std::atoi(argv[1]))));
}
