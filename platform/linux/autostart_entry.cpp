#include "platform/linux/autostart_entry.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/text.h"
#include "platform/regular_file.h"

namespace talvane {
namespace {

constexpr off_t largest_entry = 1024 * 1024;

// The text without the white space that a key file allows around names and values.
std::string_view withoutOuterSpaces(std::string_view text) {
  constexpr std::string_view spaces = " \t\r";
  const std::size_t begin = text.find_first_not_of(spaces);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(spaces) - begin + 1);
}

// The value with the escapes of the type "string" undone; an unknown one stays as it is.
std::string unescaped(std::string_view value) {
  constexpr std::string_view codes = "sntr\\";
  constexpr std::string_view characters = " \n\t\r\\";
  std::string text;
  for (std::size_t at = 0; at < value.size(); ++at) {
    const std::size_t code = value[at] == '\\' && at + 1 < value.size() ? codes.find(value[at + 1])
                                                                        : std::string_view::npos;
    if (code == std::string_view::npos) {
      text += value[at];
    } else {
      text += characters[code];
      ++at;
    }
  }
  return text;
}

std::string escaped(std::string_view text) {
  std::string value;
  for (const char character : text) {
    if (character == '\\') {
      value += "\\\\";
    } else if (character == '\n') {
      value += "\\n";
    } else if (character == '\r') {
      value += "\\r";
    } else if (character == '\t') {
      value += "\\t";
    } else {
      value += character;
    }
  }
  return value;
}

std::vector<std::string> listOf(std::string_view value) {
  std::vector<std::string> items;
  for (const std::string_view item : split(value, ';')) {
    if (!withoutOuterSpaces(item).empty()) items.emplace_back(withoutOuterSpaces(item));
  }
  return items;
}

constexpr std::string_view characters_with_backslash = "\"`$\\";

// The first word of an Exec value; empty when the value is malformed, or when the word has a field
// code, which a program's name must not have.
std::string programInExec(std::string_view exec) {
  constexpr std::string_view codes = "fFuUdDnNickvm";
  std::string program;
  bool in_program = true;
  bool begun = false;
  bool quoted = false;
  bool code_in_program = false;
  for (std::size_t at = 0; at < exec.size(); ++at) {
    const char character = exec[at];
    const char next = at + 1 < exec.size() ? exec[at + 1] : '\0';
    char plain = character;
    if (character == '"') {
      quoted = !quoted;
      begun = true;
      continue;
    }
    if (!quoted && (character == ' ' || character == '\t')) {
      in_program = in_program && !begun;
      continue;
    }
    begun = true;
    if (quoted && character == '\\' && characters_with_backslash.find(next) != std::string::npos) {
      plain = next;
      ++at;
    } else if (character == '%') {
      if (next != '%' && codes.find(next) == std::string_view::npos) return {};
      code_in_program = code_in_program || (in_program && next != '%');
      ++at;
    }
    if (in_program) program += plain;
  }
  return quoted || code_in_program ? std::string() : program;
}

bool isExecutableFile(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         access(path.c_str(), X_OK) == 0;
}

struct Free {
  void operator()(char* memory) const { std::free(memory); }
};

void takeValue(std::string_view key, std::string_view value, AutostartEntry* entry) {
  if (key == "Type") {
    entry->type = value;
  } else if (key == "Name") {
    entry->name = unescaped(value);
  } else if (key == "Exec") {
    entry->exec_program = programInExec(unescaped(value));
  } else if (key == "TryExec") {
    entry->try_exec = unescaped(value);
  } else if (key == "OnlyShowIn") {
    entry->only_show_in = listOf(value);
  } else if (key == "NotShowIn") {
    entry->not_show_in = listOf(value);
  } else if (key == "Hidden") {
    entry->hidden = value == "true";
  } else if (key == "X-GNOME-Autostart-enabled") {
    entry->disabled = value == "false";
  }
}

bool isOneOf(std::string_view desktop, const std::optional<std::vector<std::string>>& list) {
  return list && std::find(list->begin(), list->end(), desktop) != list->end();
}

// Decides as the Desktop Entry Specification does: by the first of the session's names that is in
// one of the lists.
bool isShownHere(const AutostartEntry& entry) {
  const char* desktops = std::getenv("XDG_CURRENT_DESKTOP");
  for (const std::string_view desktop : split(desktops != nullptr ? desktops : "", ':')) {
    if (isOneOf(desktop, entry.only_show_in)) return true;
    if (isOneOf(desktop, entry.not_show_in)) return false;
  }
  return !entry.only_show_in;
}

}  // namespace

std::optional<AutostartEntry> readAutostartEntry(const std::string& path) {
  // Files that the system generates as they are read have size 0 too, and some have no end.
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size == 0 ||
      status.st_size > largest_entry) {
    return std::nullopt;
  }
  std::string text;
  if (readRegularFile(path, &text) != 0 || text.find('\0') != std::string::npos) {
    return std::nullopt;
  }
  std::optional<AutostartEntry> entry;
  bool in_group = false;
  for (const std::string_view raw_line : split(text, '\n')) {
    const std::string_view line = withoutOuterSpaces(raw_line);
    if (line.starts_with('[')) {
      in_group = line == "[Desktop Entry]";
      if (in_group && !entry) entry.emplace();
      continue;
    }
    const std::size_t equals = line.find('=');
    if (!in_group || line.starts_with('#') || equals == std::string_view::npos) continue;
    takeValue(withoutOuterSpaces(line.substr(0, equals)),
              withoutOuterSpaces(line.substr(equals + 1)), &*entry);
  }
  return entry;
}

std::optional<std::string> executableFile(const std::string& name) {
  if (name.starts_with('/')) {
    const std::unique_ptr<char, Free> path(realpath(name.c_str(), nullptr));
    if (!path || !isExecutableFile(path.get())) return std::nullopt;
    return path.get();
  }
  if (name.empty() || name.find('/') != std::string::npos) return std::nullopt;
  const char* folders = std::getenv("PATH");
  for (const std::string_view folder : split(folders != nullptr ? folders : "/bin:/usr/bin", ':')) {
    if (!folder.starts_with('/')) continue;
    if (auto path = executableFile(std::string(folder) + '/' + name)) return path;
  }
  return std::nullopt;
}

std::optional<std::string> programOf(const AutostartEntry& entry) {
  return executableFile(entry.exec_program);
}

bool isStarted(const AutostartEntry& entry) {
  return entry.type == "Application" && !entry.hidden && !entry.disabled &&
         (!entry.try_exec || executableFile(*entry.try_exec)) && isShownHere(entry);
}

std::string autostartText(const std::string& path) {
  std::string quoted;
  for (const char character : path) {
    if (characters_with_backslash.find(character) != std::string::npos) quoted += '\\';
    if (character == '%') quoted += '%';
    quoted += character;
  }
  return "[Desktop Entry]\n"
         "Type=Application\n"
         "Version=1.0\n"
         "Name=Talvane Soft Token\n"
         "Comment=Show your one-time passcodes from the status area\n"
         "Exec=\"" +
         escaped(quoted) +
         "\" --no-console-log\n"
         "Icon=softtoken\n"
         "Terminal=false\n"
         "X-GNOME-Autostart-enabled=true\n";
}

std::string hiddenAutostartText(const std::string& name) {
  return "[Desktop Entry]\nType=Application\nName=" + escaped(name) + "\nHidden=true\n";
}

}  // namespace talvane
