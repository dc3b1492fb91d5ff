#pragma once

#include <termios.h>

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "tests/cli/process.h"

namespace talvane::test {

/// A program on a terminal of its own, which the test types on and reads. Its end kills the
/// program. Where no terminal can be made the test fails, and there is no program.
class TerminalProcess {
 public:
  TerminalProcess(const std::vector<std::string>& command,
                  const std::vector<std::string>& environment, unsigned short rows = 24,
                  unsigned short columns = 80);
  ~TerminalProcess();
  TerminalProcess(const TerminalProcess&) = delete;
  TerminalProcess& operator=(const TerminalProcess&) = delete;

  /// Waits until the text has appeared behind what an earlier `await` found. False: it did not, or
  /// the program ended without it.
  [[nodiscard]] bool await(std::string_view text,
                           std::chrono::seconds patience = std::chrono::seconds(20));
  /// Waits until typed keys are no longer shown.
  [[nodiscard]] bool awaitUnseen();
  /// Waits until the program is stopped, as by Ctrl-Z.
  [[nodiscard]] bool awaitStopped();
  /// Types the text.
  void type(std::string_view text) const;
  void sendSignal(int signal) const;
  [[nodiscard]] int id() const { return child_; }
  void resize(unsigned short rows, unsigned short columns) const;

  /// Waits for the end; `out` is all that the terminal showed.
  Ended finish(std::chrono::seconds patience = std::chrono::seconds(10));

  /// All that the terminal has shown so far.
  [[nodiscard]] const std::string& shown() const { return shown_; }
  /// Whether typed keys are shown and lines are edited, as a shell expects to find it.
  [[nodiscard]] bool isOrdinary() const;
  [[nodiscard]] bool echoes() const;

 private:
  bool readMore(std::chrono::milliseconds patience);
  [[nodiscard]] termios settings() const;

  int terminal_ = -1;
  int other_side_ = -1;  // keeps the terminal's settings when the program has gone
  int child_ = -1;
  std::string shown_;
  std::size_t seen_ = 0;
};

}  // namespace talvane::test
