#pragma once

// A desktop entry as far as starting its program at log-in goes (Desktop Entry Specification 1.5,
// Desktop Application Autostart Specification 0.5). Anything may stand in such a file.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvane {

struct AutostartEntry {
  std::string type;
  std::string name;
  /// What stands in Exec where the program does, unquoted; empty when Exec is malformed or missing.
  std::string exec_program;
  /// A program that must be there too.
  std::optional<std::string> try_exec;
  std::optional<std::vector<std::string>> only_show_in;
  std::optional<std::vector<std::string>> not_show_in;
  /// As if there were no file.
  bool hidden = false;
  /// Switched off, to be switched on again.
  bool disabled = false;
};

/// Reads the file; nullopt when it cannot be read, is no regular file, has a NUL, is empty or
/// larger than 1 MiB, or has no "[Desktop Entry]" group. Never waits.
std::optional<AutostartEntry> readAutostartEntry(const std::string& path);

/// The absolute path, all symbolic links resolved, of an executable file given by its absolute path
/// or by a name in $PATH; nullopt when there is none.
std::optional<std::string> executableFile(const std::string& name);

/// The file that the entry's program is, whether it is started or not.
std::optional<std::string> programOf(const AutostartEntry& entry);

/// Whether the desktop of this session starts the entry's program at log-in.
bool isStarted(const AutostartEntry& entry);

/// The text of an entry that starts this program from `path`.
std::string autostartText(const std::string& path);

/// The text of an entry that hides one of that name and starts nothing.
std::string hiddenAutostartText(const std::string& name);

}  // namespace talvane
