#include "platform/shortcut.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace talvane {
namespace {

std::string read(std::string_view text) {
  const std::optional<Shortcut> shortcut = shortcutIn(text);
  return shortcut ? textOf(*shortcut) : "-";
}

TEST(Shortcut, Table) {
  const std::pair<const char*, const char*> rows[] = {
      {"Ctrl+Alt+T", "Ctrl+Alt+T"},
      {"super+shift+ctrl+t", "Ctrl+Shift+Super+T"},
      {"Control + Alt + 7", "Ctrl+Alt+7"},
      {"Meta+F12", "Super+F12"},
      {"Win+pageup", "Super+PageUp"},
      {"F1", "F1"},
      {"shift+f24", "Shift+F24"},
      {"Pause", "Pause"},
      {"Alt+SPACE", "Alt+Space"},
      // Keys that type need more than Shift.
      {"T", "-"},
      {"Shift+T", "-"},
      {"Shift+Return", "-"},
      {"F", "-"},
      // What no key is called.
      {"", "-"},
      {"none", "-"},
      {"Ctrl", "-"},
      {"Ctrl+", "-"},
      {"Ctrl+Alt", "-"},
      {"Ctrl+TT", "-"},
      {"Ctrl+F0", "-"},
      {"Ctrl+F25", "-"},
      {"Ctrl+F01", "-"},
      {"Ctrl+\xC3\xA4", "-"},
      {"Hyper+T", "-"},
      {"Ctrl+Ctrl+T", "-"},
      {"Ctrl+Alt+T\xFF", "-"},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(read(text), expected) << text;
}

TEST(Shortcut, ItsTextIsReadAgain) {
  for (const char* text : {"Ctrl+Alt+Shift+Super+Z", "F5", "Super+Print", "Ctrl+0"}) {
    EXPECT_EQ(read(text), text);
  }
}

}  // namespace
}  // namespace talvane
