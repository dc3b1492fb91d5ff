#pragma once

#include <gio/gio.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/desktop/screen.h"

namespace talvane::test {

/// What the accessibility bus calls the roles (AT-SPI 2).
enum class Role : std::uint32_t {
  alert = 2,
  check_box = 7,
  filler = 20,
  frame = 23,
  label = 29,
  panel = 39,
  password_text = 40,
  push_button = 43,
  text = 61,
  application = 75,
};

/// A control or another thing on the screen, as a screen reader is told of it.
struct Thing {
  std::string bus_name;
  std::string path;
  Role role{};
  std::string role_name;
  std::string name;
  std::uint64_t states = 0;
  Rectangle place;   // on the screen
  Rectangle window;  // its window there
  bool is_window = false;

  [[nodiscard]] bool has(int state) const { return (states >> state & 1U) != 0; }
  [[nodiscard]] bool isChecked() const { return has(4); }
  [[nodiscard]] bool isEnabled() const { return has(8); }
  [[nodiscard]] bool isFocusable() const { return has(11); }
  [[nodiscard]] bool isFocused() const { return has(12); }
  [[nodiscard]] bool isShowing() const { return has(25); }
};

/// Reads the screen of one session, through the accessibility bus of that.
class ScreenReader {
 public:
  /// Needs a launcher of the accessibility bus on the session bus.
  explicit ScreenReader(const std::string& session_bus);

  /// All that is showing, parents first; what goes away meanwhile is left out.
  std::vector<Thing> showing();
  /// Presses a button as a screen reader does.
  bool press(const Thing& button);
  /// What stands in a field.
  std::string textOf(const Thing& field);

 private:
  struct Unref {
    void operator()(void* object) const { g_object_unref(object); }
    void operator()(GVariant* variant) const { g_variant_unref(variant); }
  };
  using Variant = std::unique_ptr<GVariant, Unref>;

  Variant call(const std::string& bus_name, const std::string& path, const char* interface,
               const char* method, GVariant* parameters);
  std::vector<Thing> childrenOf(const std::string& bus_name, const std::string& path);
  bool look(Thing* thing);
  void collect(const Thing& parent, std::vector<Thing>* things);

  std::unique_ptr<GDBusConnection, Unref> bus_;
};

}  // namespace talvane::test
