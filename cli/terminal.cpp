#include "cli/terminal.h"

#include <unistd.h>
#include <utf8proc.h>

#include <iostream>

#include "cli/failure.h"
#include "engine/text.h"

namespace talvane {
namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

struct Character {
  utf8proc_int32_t code_point = -1;  // negative: not UTF-8
  std::size_t length = 1;
};

Character firstCharacter(std::string_view text) {
  Character character;
  const auto length =
      utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                       static_cast<utf8proc_ssize_t>(text.size()), &character.code_point);
  if (length > 0) character.length = static_cast<std::size_t>(length);
  return character;
}

std::size_t width(utf8proc_int32_t code_point) {
  return static_cast<std::size_t>(std::max(0, utf8proc_charwidth(code_point)));
}

bool steersTerminal(utf8proc_int32_t code_point) {
  if (code_point < 0x20 || (code_point >= 0x7F && code_point < 0xA0)) return true;
  const auto category = utf8proc_category(code_point);
  return category == UTF8PROC_CATEGORY_ZL || category == UTF8PROC_CATEGORY_ZP;
}

}  // namespace

std::string printable(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    result += steersTerminal(character.code_point) ? replacement : text.substr(0, character.length);
    text.remove_prefix(character.length);
  }
  return result;
}

std::size_t columnsOf(std::string_view text) {
  std::size_t columns = 0;
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    columns += character.code_point < 0 ? 1 : width(character.code_point);
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
    const std::size_t next = character.code_point < 0 ? 1 : width(character.code_point);
    if (used + next + 1 > columns) break;
    used += next;
    result += text.substr(0, character.length);
    text.remove_prefix(character.length);
  }
  return result + "…" + std::string(columns - used - 1, ' ');
}

KeyInput::KeyInput(bool echo, bool by_line) {
  if (tcgetattr(STDIN_FILENO, &saved_) != 0) return;
  termios wanted = saved_;
  if (!echo) wanted.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  if (!by_line) wanted.c_lflag &= ~static_cast<tcflag_t>(ICANON);
  changed_ = tcsetattr(STDIN_FILENO, TCSAFLUSH, &wanted) == 0;
}

KeyInput::~KeyInput() {
  if (changed_) tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved_);
}

std::string readLine(std::string_view prompt, bool secret) {
  const bool on_terminal = isatty(STDIN_FILENO) == 1;
  std::string line;
  {
    if (on_terminal) std::cerr << prompt << std::flush;
    const bool hide = on_terminal && secret;
    const KeyInput input(!hide, true);
    std::getline(std::cin, line);
    if (hide) std::cerr << '\n';
  }
  if (!std::cin && line.empty()) {
    throw Failure(exit_usage, "Nothing was given on standard input; type it or pipe it in");
  }
  return std::string(withoutLineEnds(line));
}

bool confirm(std::string_view question) {
  const std::string answer = lowerCase(readLine(std::string(question) + " [y/N] ", false));
  return answer == "y" || answer == "yes";
}

}  // namespace talvane
