#include "cli/terminal.h"

#include <signal.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>
#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>

#include "cli/exit_codes.h"
#include "cli/failure.h"
#include "engine/cleared.h"
#include "engine/text.h"
#include "platform/translation.h"

namespace talvane {
namespace {

std::size_t width(const Character& character) {
  if (!character.valid) return 1;
  const int columns = utf8proc_charwidth(static_cast<utf8proc_int32_t>(character.code_point));
  return static_cast<std::size_t>(std::max(0, columns));
}

// State for the signal handlers, written before they are installed.
termios ordinary{};
termios special{};
bool has_screen = false;
volatile std::sig_atomic_t entered = 0;
constexpr std::array handled{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};
std::array<struct sigaction, handled.size()> before{};

// This function and the next four are safe in a signal handler.
void show(std::string_view sequence) {
  static_cast<void>(!write(STDOUT_FILENO, sequence.data(), sequence.size()));
}

void enter() {
  tcsetattr(STDIN_FILENO, TCSADRAIN, &special);
  if (has_screen) show("\x1b[?1049h\x1b[?25l");
  entered = 1;
}

void leave() {
  if (entered == 0) return;
  entered = 0;
  if (has_screen) show("\x1b[?25h\x1b[?1049l");
  // Unread input must not reach the shell: it may be a seed.
  tcsetattr(STDIN_FILENO, TCSAFLUSH, &ordinary);
}

void restoreHandlers() {
  for (std::size_t i = 0; i < handled.size(); ++i) sigaction(handled[i], &before[i], nullptr);
}

void endBySignal(int signal) {
  leave();
  restoreHandlers();
  std::raise(signal);
}

void stopBySignal(int) {
  const int error = errno;
  leave();
  std::raise(SIGSTOP);
  enter();
  errno = error;
}

}  // namespace

std::size_t columnsOf(std::string_view text) {
  std::size_t columns = 0;
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    columns += width(character);
    text.remove_prefix(character.length);
  }
  return columns;
}

std::string inColumns(std::string_view text, std::size_t columns) {
  const std::size_t needed = columnsOf(text);
  if (needed <= columns) return std::string(text) + std::string(columns - needed, ' ');
  std::string result;
  std::size_t used = 0;
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    const std::size_t next = width(character);
    if (used + next + 1 > columns) break;
    used += next;
    result += text.substr(0, character.length);
    text.remove_prefix(character.length);
  }
  return result + "…" + std::string(columns - used - 1, ' ');
}

std::string cutTo(std::string_view text, std::size_t columns) {
  return columnsOf(text) <= columns ? std::string(text) : inColumns(text, columns);
}

std::optional<std::size_t> outputColumns() {
  winsize size{};
  if (isatty(STDOUT_FILENO) == 0 || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 ||
      size.ws_col == 0) {
    return std::nullopt;
  }
  return size.ws_col;
}

bool isDumbTerminal() {
  const char* kind = std::getenv("TERM");
  return kind != nullptr && std::string_view(kind) == "dumb";
}

TerminalState::TerminalState(Mode mode) {
  if (tcgetattr(STDIN_FILENO, &ordinary) != 0) return;
  special = ordinary;
  special.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  if (mode == Mode::live_screen) special.c_lflag &= ~static_cast<tcflag_t>(ICANON);
  has_screen = mode == Mode::live_screen;
  for (std::size_t i = 0; i < handled.size(); ++i) {
    struct sigaction action {};
    action.sa_handler = handled[i] == SIGTSTP ? stopBySignal : endBySignal;
    action.sa_flags = handled[i] == SIGTSTP ? SA_RESTART : 0;
    sigaction(handled[i], &action, &before[i]);
  }
  enter();
}

TerminalState::~TerminalState() {
  // A terminal that could not be changed has no handlers either.
  if (entered != 0) restoreHandlers();
  leave();
}

Cleared<std::string> readLine(std::string_view prompt, bool secret) {
  constexpr std::size_t longest = 65536;
  const bool on_terminal = isatty(STDIN_FILENO) == 1;
  std::optional<TerminalState> unseen;
  if (on_terminal && secret) unseen.emplace(TerminalState::Mode::unseen_line);
  if (on_terminal) std::cerr << printable(translated(prompt)) << std::flush;
  Cleared<std::string> kept;
  std::string& line = kept.mutableValue();
  line.reserve(secret ? longest : 0);  // a growing string would leave copies behind
  int character = 0;
  while ((character = std::cin.get()) != EOF && character != '\n' && line.size() < longest) {
    line += static_cast<char>(character);
  }
  if (unseen) std::cerr << '\n';
  if (line.size() >= longest) {
    throw Failure(exit_failed, "The input is too long; give one line");
  }
  if (character == EOF && line.empty()) {
    throw Failure(exit_usage, "Standard input is empty; type the line or pipe it in");
  }
  line.resize(withoutLineEnds(line).size());
  return kept;
}

bool confirm(std::string_view question) {
  const std::string prompt = translatedWith("{} [y/N] ", question);
  // "si" is "sí" too.
  const std::string answer = searchForm(readLine(prompt, false).get());
  return answer == "y" || answer == "yes" || answer == searchForm(translated("y")) ||
         answer == searchForm(translated("yes"));
}

}  // namespace talvane
