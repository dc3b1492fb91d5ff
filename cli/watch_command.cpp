#include <fmt/core.h>
#include <poll.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <memory>
#include <string>

#include "cli/command.h"
#include "cli/failure.h"
#include "cli/first_token.h"
#include "cli/live_table.h"
#include "cli/session.h"
#include "cli/terminal.h"
#include "engine/text.h"
#include "platform/translation.h"
#include "store/stored_tokens.h"

namespace talvane {
namespace {

// Draws over the old text, so that nothing flickers.
void showScreen(const std::string& text) {
  std::string screen = "\x1b[H";
  for (const char c : text) {
    if (c == '\n') screen += "\x1b[K";
    screen += c;
  }
  std::cout << screen << "\x1b[J" << std::flush;
}

winsize screenSize() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) size = {24, 80, 0, 0};
  return size;
}

int millisecondsToNextSecond() {
  using namespace std::chrono;
  const auto now = system_clock::now();
  return static_cast<int>(
             duration_cast<milliseconds>(floor<seconds>(now) + seconds(1) - now).count()) +
         1;
}

class WatchCommand final : public Command {
 public:
  CLI::App* addTo(CLI::App& line) override {
    return line.add_subcommand(
        "watch", "Show all passcodes live until you press q; without a terminal, print one table");
  }

  void run(Session& session) override {
    StoredTokens tokens = session.readTokens();
    const bool on_terminal = isatty(STDOUT_FILENO) == 1 && isatty(STDIN_FILENO) == 1;
    if (tokens.list.empty()) {
      std::cerr << (tokens.obstacle ? wordsFor(*tokens.obstacle) + '\n'
                                    : firstTokenHelp(session.settings()));
      return;
    }
    if (on_terminal && !isDumbTerminal()) {
      watch(session, tokens);
    } else {
      std::cout << plainTable(tokens, session.now(), outputColumns());
    }
    if (tokens.obstacle) fmt::print(stderr, "softtoken-cli: {}\n", wordsFor(*tokens.obstacle));
  }

 private:
  static void watch(Session& session, StoredTokens& tokens) {
    const TerminalState terminal(TerminalState::Mode::live_screen);
    const ColourDepth depth = colourDepth();
    std::string trouble;
    std::int64_t read_in_step = session.now() / 30;
    for (;;) {
      const std::int64_t now = session.now();
      // Picks up the changes of other programs with each time step.
      if (now / 30 != read_in_step) {
        reread(session, tokens, trouble);
        read_in_step = now / 30;
      }
      const winsize size = screenSize();
      std::string text = "\n  Talvane Soft Token\n\n" +
                         colouredTable(tokens, now, size.ws_col, depth) + "\n  " +
                         translated("Press q to quit") + '\n';
      if (!trouble.empty()) text += "  " + printable(trouble) + '\n';
      showScreen(fitted(text, size.ws_row));
      if (quitPressed()) return;
    }
  }

  static void reread(Session& session, StoredTokens& tokens, std::string& trouble) {
    try {
      tokens = session.readTokens();
      trouble = tokens.obstacle ? wordsFor(*tokens.obstacle) : std::string();
    } catch (const Failure& failure) {
      trouble = translated(failure.what());
    }
  }

  // The first lines, as many as the screen has room for.
  static std::string fitted(const std::string& text, std::size_t rows) {
    std::size_t end = 0;
    for (std::size_t line = 0; line + 1 < rows; ++line) {
      const std::size_t next = text.find('\n', end);
      if (next == std::string::npos) return text;
      end = next + 1;
    }
    return end == text.size()
               ? text.substr(0, end - 1)
               : text.substr(0, end) + "  … " + translated("enlarge the window to see the rest");
  }

  // Waits for the next second or a key.
  static bool quitPressed() {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    if (poll(&input, 1, millisecondsToNextSecond()) <= 0) return false;
    char key = 0;
    const ssize_t count = read(STDIN_FILENO, &key, 1);
    return count == 0 || (count == 1 && (key == 'q' || key == 'Q'));
  }
};

}  // namespace

std::unique_ptr<Command> makeWatchCommand() {
  return std::make_unique<WatchCommand>();
}

}  // namespace talvane
