#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tests/cli/process.h"
#include "tests/desktop/accessibility.h"
#include "tests/desktop/program.h"
#include "tests/desktop/screen.h"
#include "tests/secret_service/private_session.h"
#include "tests/support/temporary_folder.h"

namespace talvane::test {

inline constexpr const char* seed_16 = "JBSWY3DPEHPK3PXP";
inline constexpr const char* other_seed_16 = "GEZDGNBVGY3TQOJQ";
inline constexpr const char* seed_13 = "MFRGGZDFMZTWQ";

/// The passcode by oathtool(1).
std::string passcodeOf(const std::string& seed, int period, std::int64_t time);

/// A user's desktop for one test: session bus, accessibility bus, status area and an empty home, on
/// the X server that the tests of this process share. The user may add tokens by hand and has
/// answered the first question, unless a test says otherwise before it starts the program.
class DesktopTest : public ::testing::Test {
 protected:
  DesktopTest();
  ~DesktopTest() override;
  /// The program has had nothing to complain about, nor has a sanitizer.
  void TearDown() override;

  // The session.

  [[nodiscard]] Strings environment() const;
  [[nodiscard]] std::string path(std::string_view below) const;
  void startTray();
  void stopTray();
  void setSettings(std::string_view text) const;
  /// As if the user had never started the program.
  void forgetAnswers() const;
  /// Adds a token with the command line program, to the vault.
  void add(const std::string& name, const std::string& seed = seed_16, int period = 30) const;
  /// `softtoken-cli list` as lines of "name".
  [[nodiscard]] Strings storedNames() const;
  [[nodiscard]] Ended commandLine(const Strings& arguments, std::string_view input = {}) const;

  // The program.

  /// Starts it and waits until it takes requests and its icon is in the tray, if there is one.
  void start(const Strings& arguments = {});
  /// Starts it without waiting.
  void launch(const Strings& arguments = {});
  /// Another start, to its end.
  [[nodiscard]] Ended startAgain(const Strings& arguments = {}) const;
  /// Ends it as a user can.
  void quit();
  [[nodiscard]] std::string programOutput() const;
  /// The files that make programs start at log-in.
  [[nodiscard]] Strings autostartEntries() const;

  // What is on the screen.

  [[nodiscard]] std::optional<ShownWindow> icon() const;
  /// The panel, wherever it is.
  [[nodiscard]] std::optional<ShownWindow> panel() const;
  /// Whether the panel is open and has come to rest under the menu bar, or closed.
  [[nodiscard]] bool opens();
  [[nodiscard]] bool closes() const;
  /// After a click before, waits until the two are no double click.
  void clickIcon() const;
  void awaitSingleClick() const;
  /// Clicks the icon and waits until the panel is open.
  void openPanel();

  [[nodiscard]] std::vector<Thing> showing();
  /// The thing of this role and name, once there is one.
  [[nodiscard]] Thing thing(Role role, std::string_view name);
  [[nodiscard]] Thing button(std::string_view name) { return thing(Role::push_button, name); }
  /// Whether there is one now.
  [[nodiscard]] bool shows(Role role, std::string_view name);
  /// Whether there is one soon.
  [[nodiscard]] bool comesToShow(Role role, std::string_view name);
  /// Whether there is a label with these words in it soon.
  [[nodiscard]] bool comesToSay(std::string_view words);
  [[nodiscard]] Strings names(Role role);
  /// The thing that has the keyboard; "role name: name".
  [[nodiscard]] std::string focus();
  [[nodiscard]] bool focusComesTo(std::string_view name,
                                  std::chrono::milliseconds patience = std::chrono::seconds(10));
  void click(const Thing& thing) const;
  /// Whether the program and the X server agree on where its window lies.
  [[nodiscard]] static bool isAtRest(const Thing& thing);
  void clickButton(std::string_view name);
  /// Replaces what stands in the field of this name by typing.
  void fill(std::string_view field, std::string_view text);
  /// The same in a field that does not show what is typed.
  void fillSecret(std::string_view field, std::string_view text);
  void typeInto(Role role, std::string_view field, std::string_view text);
  [[nodiscard]] std::string textIn(std::string_view field);
  /// Expects an alert with exactly these words, and answers it by the mouse.
  void answer(std::string_view words, std::string_view button_name);
  /// The same by a key, while the button `focused` has the keyboard.
  void answerByKey(std::string_view words, std::string_view focused, std::string_view key);
  /// The texts of the alert that shows, once there is one; without the title.
  [[nodiscard]] std::string alert();
  [[nodiscard]] std::vector<Thing> alertParts();
  void clickInAlert(std::string_view button_name);
  [[nodiscard]] bool alertGoes();
  /// The passcodes on the screen from the top.
  [[nodiscard]] Strings codes();
  /// Whether the row shows the passcode of the present second, soon.
  [[nodiscard]] bool showsPasscode(std::size_t row, const std::string& seed, int period);

  /// What another program finds on the clipboard.
  [[nodiscard]] std::string clipboard(const std::string& target = "UTF8_STRING") const;

  static Screen& screen();

  Strings more_environment_;  // of all programs
  mutable std::chrono::steady_clock::time_point last_click_;
  int scale_ = 1;  // device pixels a point
  std::string locale_ = "C.UTF-8";
  talvane::testing::PrivateSession session_;
  Program accessibility_;
  Program tray_;
  Program program_;
  std::unique_ptr<ScreenReader> reader_;
};

}  // namespace talvane::test
