#pragma once

// A desktop entry, as far as it starts its program at login (Desktop Entry Specification 1.5,
// Desktop Application Autostart Specification 0.5). The content of the file is not trusted.

#include <optional>
#include <string>
#include <vector>

namespace talvane {

struct AutostartEntry {
  std::string type;
  std::string name;
  /// The program in Exec, unquoted; empty if Exec is malformed or missing.
  std::string exec_program;
  /// TryExec: a program that must exist too.
  std::optional<std::string> try_exec;
  std::optional<std::vector<std::string>> only_show_in;
  std::optional<std::vector<std::string>> not_show_in;
  /// Hidden: as if the file did not exist.
  bool hidden = false;
  /// Switched off for now.
  bool disabled = false;
};

/// Reads the file. Returns nullopt if it is unreadable, not a regular file, empty, larger than 1
/// MiB, has a NUL, or has no "[Desktop Entry]" group. Never blocks.
std::optional<AutostartEntry> readAutostartEntry(const std::string& path);

/// The absolute path, with all symbolic links resolved, of an executable file given by its absolute
/// path or by a name in $PATH; nullopt if there is none.
std::optional<std::string> executableFile(const std::string& name);

/// The file of the entry's program, whether the entry starts it or not.
std::optional<std::string> programOf(const AutostartEntry& entry);

/// Whether the desktop of this session starts the entry's program at login.
bool isStarted(const AutostartEntry& entry);

/// The text of an entry that starts this program from `path`.
std::string autostartText(const std::string& path);

/// The text of an entry that hides one of the same name and starts nothing.
std::string hiddenAutostartText(const std::string& name);

}  // namespace talvane
