#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace talvane::test {

struct Rectangle {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  friend bool operator==(const Rectangle&, const Rectangle&) = default;
};

/// A window that is shown.
struct ShownWindow {
  unsigned long id = 0;
  Rectangle place;  // on the screen
};

/// Pixels as 0xRRGGBB, row by row.
struct Picture {
  int width = 0;
  int height = 0;
  std::vector<std::uint32_t> pixels;
};

/// An X server of the test's own, 1280 × 800, with a window manager; its keyboard, its mouse and
/// what is on it.
class Screen {
 public:
  Screen();
  ~Screen();
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  static constexpr int width = 1280;
  static constexpr int height = 800;

  /// As in DISPLAY.
  [[nodiscard]] const std::string& name() const;
  /// Releases what may still be pressed and moves the mouse out of the way.
  void calm();

  void moveMouse(int x, int y);
  void click(int x, int y);
  void rightClick(int x, int y);
  void press(int x, int y);
  void release();
  /// Turns the wheel where the mouse is; downwards when positive.
  void wheel(int notches);
  /// A key by its keysym name, as "Tab", with "shift+", "ctrl+", "alt+" and "super+" before it.
  void key(std::string_view name);
  /// Presses such a key and holds it down; releases it.
  void keyDown(std::string_view name);
  void keyUp(std::string_view name);
  /// Exchanges what two keys of the keyboard are for.
  void swapKeys(const char* one, const char* other);
  /// Types the text; ASCII.
  void type(std::string_view text);

  /// The windows of this class that are shown.
  [[nodiscard]] std::vector<ShownWindow> windowsOf(std::string_view window_class);
  [[nodiscard]] Picture picture(const Rectangle& part);
  /// Whether there is a status area for embedded icons.
  [[nodiscard]] bool hasTray();
  /// The window that gets the keys.
  [[nodiscard]] unsigned long windowOfKeys();

 private:
  struct Connection;
  std::unique_ptr<Connection> connection_;
};

}  // namespace talvane::test
