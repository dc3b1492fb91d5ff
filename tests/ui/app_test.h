#pragma once

// The real application over things in memory: a keychain, login items, user defaults, identifiers
// that come to the device identity 0, a home of its own, and a clock that stands. Tests use it as
// its user does.

#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QMessageBox>
#include <QPointer>
#include <QTest>
#include <QTimer>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/login_item.h"
#include "platform/memory/memory_login_items.h"
#include "tests/enrol/script.h"
#include "tests/platform/faulty_keychain.h"
#include "tests/support/memory_user_defaults.h"
#include "tests/support/private_home.h"
#include "tests/ui/frames.h"
#include "ui/app_delegate.h"
#include "ui/desktop/shortcut_choice.h"
#include "ui/wait/background_thread.h"
#include "ui/wait/keychain_in_background.h"

namespace talvane {

namespace test {

using Lines = std::vector<std::string>;

/// A machine without identifiers, whose device key is all zeros.
class NoIdentifiers final : public DeviceIdentifiers {
 public:
  Identity read() override { return {{}, {}, {}, "ada", {}}; }
};

/// The user's login items, which live in the test while login-item objects come and go.
class SharedLoginItems {
 public:
  SharedLoginItems();
  MemoryLoginItems list;

  /// An object that works on the list and hears of its changes.
  std::unique_ptr<talibobjc_LoginItem> makeItem();

 private:
  class View;
  std::vector<View*> views_;
};

/// Answers the modal alerts of a scope and notes them.
class AlertUser {
 public:
  struct Seen {
    std::string title;
    std::string text;
    Lines buttons;
    std::string default_button;
    std::string escape_button;
    QImage icon;
    QImage window_icon;
  };
  /// Answers are used up in order; Escape once there are none.
  std::deque<std::function<void(QMessageBox&)>> answers;
  std::vector<Seen> seen;

  AlertUser();

  [[nodiscard]] Lines texts() const;
  /// Expects the program's own icon in the alert and on its window.
  static void expectIcon(const Seen& alert);
  /// Closes the alert without any of its buttons, as the program's end does.
  static void closeWithoutAnswer(QMessageBox& box) { box.done(QDialog::Accepted + 6); }

  static void pressReturn(QMessageBox& box);
  static void pressEscape(QMessageBox& box);
  static std::function<void(QMessageBox&)> press(const std::string& button);

 private:
  void look();

  QTimer timer_;
  QPointer<QMessageBox> last_;
};

}  // namespace test

class AppTest : public testing::Test {
 protected:
  AppTest();
  ~AppTest() override;

  /// The settings file's text; before `launch`. The trace is on.
  void setSettings(const std::string& text);
  /// Lets requests and the keychain work on other threads, as in the built program; before
  /// `launch`.
  void workInBackground() { in_background_ = true; }
  /// Starts the program. The question about the login items is answered already unless a test has
  /// changed `defaults`.
  void launch();
  /// Ends the program, and the calls to the keychain: a test whose members they use does that in
  /// its destructor.
  void end();
  /// The program, launched with its views made.
  SoftTokenOSXAppDelegate& app();

  /// Opens the panel, anew if it is open, goes to the view of this name as a user does, and waits
  /// until it has the keyboard. The settings, and for "cv" the tokens, have to allow it.
  void show(const std::string& name);
  /// The response view, by a token "Response" typed by hand.
  void showResponse();
  void clickIcon();
  void click(const std::string& button);
  /// Replaces what is in the field.
  static void type(QLineEdit* field, const std::string& text);
  void type(const std::string& field, const std::string& text);
  /// Lets everything happen that is queued.
  static void turnEventLoop();

  /// The open panel; null: none is open.
  [[nodiscard]] static SoftTokenWindow* panel();
  /// The name of the open view; empty: the panel is closed.
  [[nodiscard]] static std::string openView();
  /// All that have the name, open or not; in the order in which they were made.
  template <typename Widget>
  [[nodiscard]] static std::vector<Widget*> all(const std::string& name) {
    std::vector<Widget*> result;
    for (QWidget* window : QApplication::topLevelWidgets()) {
      for (Widget* found : window->findChildren<Widget*>(QString::fromStdString(name))) {
        result.push_back(found);
      }
    }
    return result;
  }
  /// The one that has the name.
  template <typename Widget>
  [[nodiscard]] static Widget* find(const std::string& name) {
    const auto found = all<Widget>(name);
    if (found.size() == 1) return found.front();
    ADD_FAILURE() << found.size() << " are called " << name;
    return nullptr;
  }
  [[nodiscard]] static QAbstractButton* button(const std::string& name) {
    return find<QAbstractButton>(name);
  }
  [[nodiscard]] static std::string caption(const std::string& name) {
    return button(name)->text().toStdString();
  }
  [[nodiscard]] static std::string textOf(const std::string& label) {
    return find<QLabel>(label)->text().toStdString();
  }
  /// Of a label of the panel's own kind.
  [[nodiscard]] static QColor colourOf(const std::string& label);
  /// The widget's frame within the open panel.
  [[nodiscard]] static Frame frameInPanel(const QWidget* widget);
  /// The passcodes that the token view shows, from the top.
  [[nodiscard]] static test::Lines codes();
  /// Moves the clock, and lets the token view's second pass.
  void tick(std::int64_t time);

  // Tokens of another program: through the same keychain, past the application.

  /// Stores a token in the first free slot.
  void store(const std::string& name, const std::string& seed = seed1, int period = 30);
  void storeMany(int count);
  [[nodiscard]] test::Lines storedNames();
  /// How often a record was written so far.
  [[nodiscard]] std::size_t writes() const { return writes_; }
  void deleteStored(std::uint32_t slot);
  void renameStored(std::uint32_t slot, const std::string& name);

  /// The lines of the trace, without the time, that begin with one of these.
  [[nodiscard]] test::Lines traced(const test::Lines& beginnings);
  void clearTrace();

  static constexpr const char* seed1 = "GEZDGNBVGY3TQOJQ";
  static constexpr const char* seed2 = "JBSWY3DPEHPK3PXP";

  test::PrivateHome home;
  test::FaultyKeychain keychain;
  test::NoIdentifiers identifiers;
  test::MemoryUserDefaults defaults;
  test::SharedLoginItems login_items;
  /// Answers what a test has put there; other requests wait.
  test::Script network;
  test::AlertUser alerts;
  test::Lines opened_pages;
  test::Lines notifications;
  int status_items_shown = 0;
  /// What the status item was told of the panel.
  bool told_open = false;
  /// The shortcut to choose; before `launch`.
  ShortcutChoice* shortcut = nullptr;
  /// Whether the program is started for the desktop's search; before `launch`.
  bool for_search = false;
  /// Whether the log goes to standard error too; before `launch`.
  bool console = false;
  std::chrono::milliseconds patience{2000};
  /// What the clock shows, in seconds since the Unix epoch. It stands until it is set.
  std::int64_t clock = 0;
  /// Asked before every call of the application's to the keychain; ok: it goes through.
  std::function<KeychainStatus(test::FaultyKeychain::Call)> fault;

 private:
  void asAnotherProgram(const std::function<void()>& work);

  std::size_t writes_ = 0;
  bool in_background_ = false;
  std::unique_ptr<BackgroundThread> keychain_thread_;
  std::unique_ptr<KeychainInBackground> keychain_in_background_;
  std::unique_ptr<Ini> ini_;
  std::unique_ptr<SoftTokenOSXAppDelegate> app_;
};

}  // namespace talvane
