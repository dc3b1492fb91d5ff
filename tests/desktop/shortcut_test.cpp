// The key combination that opens and closes the panel whatever has the keyboard.

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <string>
#include <thread>

#include "tests/desktop/desktop.h"
#include "tests/desktop/shortcuts_portal.h"

// Last: they define common words.
#include <X11/Xlib.h>
#include <X11/keysym.h>

namespace talvane::test {
namespace {

using std::chrono::milliseconds;

/// Another program that has taken Ctrl+Alt+T.
class OtherProgram {
 public:
  explicit OtherProgram(const std::string& display) : display_(XOpenDisplay(display.c_str())) {
    XGrabKey(display_, XKeysymToKeycode(display_, XK_t), ControlMask | Mod1Mask,
             XDefaultRootWindow(display_), False, GrabModeAsync, GrabModeAsync);
    XSync(display_, False);
  }
  ~OtherProgram() { XCloseDisplay(display_); }
  OtherProgram(const OtherProgram&) = delete;
  OtherProgram& operator=(const OtherProgram&) = delete;

 private:
  Display* display_;
};

class ShortcutTest : public DesktopTest {
 protected:
  ShortcutTest() { add("Work mail"); }

  void startWith(const std::string& shortcut) {
    setSettings("AllowManual=true\nShortcut=" + shortcut + "\n");
    start();
  }
  // The icon shows before the program has the key.
  void startAndAwait(const std::string& shortcut, const char* key) {
    startWith(shortcut);
    ASSERT_TRUE(comesToWork(key));
  }

  // Whether the key opens the panel, which then has the keyboard, and closes it.
  [[nodiscard]] bool works(const char* key) {
    screen().key(key);
    if (!opens() || !focusComesTo("Copy: Work mail")) return false;
    screen().key(key);
    return closes();
  }
  // The same, as soon as the program knows the key. A second press would close a panel that comes
  // late.
  [[nodiscard]] bool comesToWork(const char* key) {
    const bool opened = until(
        [&] {
          screen().key(key);
          return until([&] { return panel().has_value(); }, milliseconds(2000));
        },
        std::chrono::seconds(20));
    if (!opened || !opens()) return false;
    screen().key(key);
    return closes();
  }
  [[nodiscard]] bool doesNothing(const char* key) {
    screen().key(key);
    return !until([&] { return panel().has_value(); }, milliseconds(500));
  }

  void openHelp() {
    openPanel();
    clickButton("Help");
    ASSERT_TRUE(comesToShow(Role::push_button, "About"));
  }
  void record(const char* shown, const char* key) {
    clickButton(shown);
    ASSERT_TRUE(comesToShow(Role::push_button, "Press a key combination"));
    screen().key(key);
  }
};

TEST_F(ShortcutTest, OfTheSettingsOpensAndClosesThePanel) {
  startAndAwait("Ctrl+Alt+T", "ctrl+alt+t");
  EXPECT_TRUE(works("ctrl+alt+t"));
  EXPECT_TRUE(doesNothing("ctrl+t"));
  EXPECT_TRUE(doesNothing("ctrl+alt+shift+t"));
}

// Nothing is waited for but the panel.
TEST_F(ShortcutTest, AndALetterAndReturnCopyAPasscode) {
  add("Bank", other_seed_16);
  startAndAwait("Ctrl+Alt+T", "ctrl+alt+t");
  ASSERT_TRUE(until(
      [] {
        const auto second = std::time(nullptr) % 30;
        return second < 22;
      },
      std::chrono::seconds(10)));
  const std::string wanted = passcodeOf(other_seed_16, 30, std::time(nullptr));
  screen().key("ctrl+alt+t");
  ASSERT_TRUE(opens());
  screen().key("b");
  screen().key("Return");
  EXPECT_TRUE(closes());
  EXPECT_EQ(clipboard(), wanted);
}

TEST_F(ShortcutTest, WorksWhateverLocksAreOn) {
  startAndAwait("Super+F9", "super+F9");
  for (const char* lock : {"Caps_Lock", "Num_Lock"}) {
    screen().key(lock);
    EXPECT_TRUE(works("super+F9")) << lock;
  }
  screen().key("Caps_Lock");
  EXPECT_TRUE(works("super+F9"));
  screen().key("Num_Lock");
}

TEST_F(ShortcutTest, AKeyThatIsHeldCountsOnce) {
  startAndAwait("Ctrl+Alt+T", "ctrl+alt+t");
  screen().keyDown("ctrl+alt+t");
  EXPECT_TRUE(opens());
  // The keyboard repeats after 660 ms.
  std::this_thread::sleep_for(milliseconds(1200));
  EXPECT_TRUE(panel().has_value());
  screen().keyUp("ctrl+alt+t");
  EXPECT_TRUE(focusComesTo("Copy: Work mail"));
  screen().key("ctrl+alt+t");
  EXPECT_TRUE(closes());
}

TEST_F(ShortcutTest, FollowsTheKeyboardsLayout) {
  startWith("Ctrl+Alt+T");
  screen().swapKeys("t", "y");
  EXPECT_TRUE(comesToWork("ctrl+alt+t"));
  EXPECT_TRUE(doesNothing("ctrl+alt+y"));
  screen().swapKeys("t", "y");
  EXPECT_TRUE(comesToWork("ctrl+alt+t"));
}

TEST_F(ShortcutTest, ThatAnotherProgramHasIsTold) {
  const OtherProgram other(screen().name());
  startWith("Ctrl+Alt+T");
  EXPECT_TRUE(doesNothing("ctrl+alt+t"));
  openHelp();
  ASSERT_TRUE(comesToShow(Role::push_button, "Ctrl+Alt+T does not work"));
  record("Ctrl+Alt+T does not work", "ctrl+alt+k");
  EXPECT_TRUE(comesToShow(Role::push_button, "Shortcut: Ctrl+Alt+K"));
  // While it records, no other program gets the key.
  record("Shortcut: Ctrl+Alt+K", "ctrl+alt+t");
  answer("Another program has the shortcut Ctrl+Alt+T already; choose another one", "OK");
  EXPECT_TRUE(comesToShow(Role::push_button, "Shortcut: Ctrl+Alt+K"));
  clickIcon();
  ASSERT_TRUE(closes());
  EXPECT_TRUE(works("ctrl+alt+k"));
}

TEST_F(ShortcutTest, IsChosenInTheHelpView) {
  start();
  openHelp();
  ASSERT_TRUE(comesToShow(Role::push_button, "Shortcut: none"));
  record("Shortcut: none", "super+j");
  ASSERT_TRUE(comesToShow(Role::push_button, "Shortcut: Super+J"));
  EXPECT_TRUE(panel().has_value());
  clickIcon();
  ASSERT_TRUE(closes());
  EXPECT_TRUE(works("super+j"));
  // It stays, and takes the place of the setting's.
  quit();
  startAndAwait("Ctrl+Alt+T", "super+j");
  EXPECT_TRUE(works("super+j"));
  EXPECT_TRUE(doesNothing("ctrl+alt+t"));
  openHelp();
  record("Shortcut: Super+J", "Delete");
  ASSERT_TRUE(comesToShow(Role::push_button, "Shortcut: none"));
  clickIcon();
  ASSERT_TRUE(closes());
  EXPECT_TRUE(doesNothing("super+j"));
}

TEST_F(ShortcutTest, ThatIsPressedWhileItIsChosenAgainDoesNotCloseThePanel) {
  startWith("Ctrl+Alt+T");
  openHelp();
  record("Shortcut: Ctrl+Alt+T", "ctrl+alt+t");
  EXPECT_TRUE(comesToShow(Role::push_button, "Shortcut: Ctrl+Alt+T"));
  EXPECT_TRUE(panel().has_value());
}

TEST_F(ShortcutTest, ChoosingIsLeftByEscape) {
  start();
  openHelp();
  record("Shortcut: none", "Escape");
  EXPECT_TRUE(comesToShow(Role::push_button, "Shortcut: none"));
  EXPECT_TRUE(panel().has_value());
  screen().key("Escape");
  EXPECT_TRUE(comesToShow(Role::push_button, "Add"));
}

// As on a Wayland desktop, where the portal is the way.
class PortalTest : public ShortcutTest {
 protected:
  PortalTest() { more_environment_.emplace_back("WAYLAND_DISPLAY=wayland-none"); }
};

TEST_F(PortalTest, ShortcutOfTheDesktop) {
  ShortcutsPortal portal("unix:path=" + path("run/bus"));
  startWith("Ctrl+Alt+T");
  ASSERT_TRUE(until([&] { return portal.trigger() == "CTRL+ALT+t"; })) << portal.trigger();
  EXPECT_TRUE(doesNothing("ctrl+alt+t"));
  portal.press();
  EXPECT_TRUE(opens());
  portal.press();
  EXPECT_TRUE(closes());
  openHelp();
  EXPECT_TRUE(comesToShow(Role::push_button, "Shortcut: Press Ctrl+Alt+T"));
  record("Shortcut: Press Ctrl+Alt+T", "super+Home");
  ASSERT_TRUE(until([&] { return portal.trigger() == "LOGO+Home"; })) << portal.trigger();
  EXPECT_EQ(portal.openSessions(), 1);
}

TEST_F(PortalTest, WithoutAPortalThereIsNothingToChoose) {
  start();
  openHelp();
  EXPECT_FALSE(
      until([&] { return shows(Role::push_button, "Shortcut: none"); }, milliseconds(500)));
}

TEST_F(PortalTest, ADesktopThatRefusesIsTold) {
  ShortcutsPortal portal("unix:path=" + path("run/bus"));
  portal.refuse();
  start();
  openHelp();
  ASSERT_TRUE(comesToShow(Role::push_button, "Shortcut: none"));
  record("Shortcut: none", "ctrl+alt+t");
  answer(
      "The desktop did not take the shortcut; choose another one, or one in the desktop's own "
      "settings",
      "OK");
  EXPECT_TRUE(comesToShow(Role::push_button, "Shortcut: none"));
}

}  // namespace
}  // namespace talvane::test
