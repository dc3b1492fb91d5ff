#pragma once

#include <termios.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace talvane {

/// The text with control characters and bytes that are not UTF-8 replaced, so that a name cannot
/// steer the terminal.
std::string printable(std::string_view text);

/// The text in exactly `columns` columns: cut with "…" or filled with blanks.
std::string inColumns(std::string_view text, std::size_t columns);

/// Columns that the text takes on a terminal.
std::size_t columnsOf(std::string_view text);

/// One line from standard input, without its line end. On a terminal the prompt is shown on
/// standard error, and what is typed is not shown when `secret`. Throws Failure at the end of
/// input.
std::string readLine(std::string_view prompt, bool secret);

/// Asks a yes-or-no question on the terminal; anything but yes is no.
bool confirm(std::string_view question);

/// The terminal on standard input passes keys on at once and unseen, until this ends.
class KeyInput {
 public:
  explicit KeyInput(bool echo = false, bool by_line = false);
  ~KeyInput();
  KeyInput(const KeyInput&) = delete;
  KeyInput& operator=(const KeyInput&) = delete;

 private:
  termios saved_{};
  bool changed_ = false;
};

}  // namespace talvane
