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
  combo_box = 11,
  filler = 20,
  frame = 23,
  label = 29,
  list = 31,
  list_item = 32,
  panel = 39,
  password_text = 40,
  progress_bar = 42,
  push_button = 43,
  text = 61,
  application = 75,
  notification = 101,
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
  int depth = 0;  // below the application

  [[nodiscard]] bool has(int state) const { return (states >> state & 1U) != 0; }
  [[nodiscard]] bool isChecked() const { return has(4); }
  [[nodiscard]] bool isEnabled() const { return has(8); }
  [[nodiscard]] bool isFocusable() const { return has(11); }
  [[nodiscard]] bool isFocused() const { return has(12); }
  [[nodiscard]] bool isReadOnly() const { return has(43); }
  [[nodiscard]] bool isShowing() const { return has(25); }
};

/// Of a bar.
struct Value {
  double now = 0;
  double least = 0;
  double most = 0;
};

/// Reads the screen of one session, through the accessibility bus of that.
class ScreenReader {
 public:
  /// Needs a launcher of the accessibility bus on the session bus.
  explicit ScreenReader(const std::string& session_bus);
  ~ScreenReader();

  /// All that is showing, parents first; what goes away meanwhile is left out.
  std::vector<Thing> showing();
  /// Presses a button as a screen reader does.
  bool press(const Thing& button);
  /// What stands in a field.
  std::string textOf(const Thing& field);
  std::string descriptionOf(const Thing& thing);
  /// The name of what labels it, if that is another thing.
  std::string labelOf(const Thing& thing);
  /// The value of a bar.
  std::optional<Value> valueOf(const Thing& thing);
  /// What is showing, as a user hears of it: a line for each thing, indented below its parent, with
  /// role, name, description, label, value, text and states. Without containers that have no name.
  std::string tree();

  /// From now on notes what programs tell by themselves. Before they start.
  void listen();
  /// That, in order: the text of each notification that came to show, "description: " and each new
  /// one, and "value" for each change of one.
  const std::vector<std::string>& heard();

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
  Variant property(const Thing& thing, const char* interface, const char* name);
  std::string wordsOf(const Thing& thing);
  static void hear(GDBusConnection* bus, const char* sender, const char* path,
                   const char* interface, const char* signal, GVariant* parameters, void* self);

  std::unique_ptr<GDBusConnection, Unref> bus_;
  guint listening_ = 0;
  std::vector<std::string> heard_;
};

}  // namespace talvane::test
