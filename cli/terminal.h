#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "engine/cleared.h"

namespace talvane {

/// The text in exactly `columns` columns: cut with "…" or padded with spaces.
std::string inColumns(std::string_view text, std::size_t columns);

/// Number of columns that the text takes on a terminal.
std::size_t columnsOf(std::string_view text);

/// The same, but without padding.
std::string cutTo(std::string_view text, std::size_t columns);

/// The columns of the terminal that standard output goes to; nullopt if it goes elsewhere, or if
/// the terminal does not tell.
std::optional<std::size_t> outputColumns();

/// Whether the terminal can do no more than print lines (TERM=dumb).
bool isDumbTerminal();

/// Reads one line from standard input, without its line end. On a terminal it writes the prompt,
/// made printable, to standard error, and hides the typing if `secret`. Throws Failure at the end
/// of input and for a line that is too long.
Cleared<std::string> readLine(std::string_view prompt, bool secret);

/// Asks a yes-or-no question on the terminal. Anything but yes means no.
bool confirm(std::string_view question);

/// Changes the state of the terminal and restores it at the end of its scope, and also before a
/// signal ends or stops the program. One at a time.
class TerminalState {
 public:
  enum class Mode : std::uint8_t {
    unseen_line,  // typing is hidden
    live_screen   // keys arrive at once and hidden; a separate screen without a cursor
  };
  explicit TerminalState(Mode mode);
  ~TerminalState();
  TerminalState(const TerminalState&) = delete;
  TerminalState& operator=(const TerminalState&) = delete;
};

}  // namespace talvane
