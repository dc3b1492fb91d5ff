#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "engine/cleared.h"

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
/// input, and for a line that is longer than any that makes sense.
Cleared<std::string> readLine(std::string_view prompt, bool secret);

/// Asks a yes-or-no question on the terminal; anything but yes is no.
bool confirm(std::string_view question);

/// The terminal in another state than a shell leaves it, until this ends. A signal that ends or
/// stops the program puts the terminal back first. One at a time.
class TerminalState {
 public:
  enum class Mode : std::uint8_t {
    unseen_line,  // what is typed is not shown
    live_screen   // keys come at once and unseen; an own screen, without a cursor
  };
  explicit TerminalState(Mode mode);
  ~TerminalState();
  TerminalState(const TerminalState&) = delete;
  TerminalState& operator=(const TerminalState&) = delete;
};

}  // namespace talvane
