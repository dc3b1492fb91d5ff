#pragma once

// The real controller over things in memory: a keychain, login items, user defaults, identifiers
// that come to the device identity 0, a home of its own, and a clock that stands.

#include <gtest/gtest.h>

#include <QMessageBox>
#include <QPointer>
#include <QTest>
#include <QTimer>
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
#include "tests/ui/clock.h"
#include "ui/app_delegate.h"

namespace talvane {

// For messages.
std::ostream& operator<<(std::ostream& out, const Frame& frame);
std::ostream& operator<<(std::ostream& out, const Place& place);

namespace test {

using Lines = std::vector<std::string>;

/// A machine without identifiers, whose device key is all zeros.
class NoIdentifiers final : public DeviceIdentifiers {
 public:
  std::string serialNumber() override { return {}; }
  std::string volumeUuid() override { return {}; }
  std::string user() override { return {}; }
  std::string loginName() override { return "ada"; }
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
    bool has_icon = false;
  };
  /// Answers are used up in order; Escape once there are none.
  std::deque<std::function<void(QMessageBox&)>> answers;
  std::vector<Seen> seen;

  AlertUser();

  [[nodiscard]] Lines texts() const;

  static void pressReturn(QMessageBox& box);
  static void pressEscape(QMessageBox& box);
  static std::function<void(QMessageBox&)> press(const std::string& button);

 private:
  void look();

  QTimer timer_;
  QPointer<QMessageBox> last_;
};

}  // namespace test

class DelegateTest : public testing::Test {
 protected:
  DelegateTest();
  ~DelegateTest() override;

  /// The settings file's text; before `launch`. The trace is on.
  void setSettings(const std::string& text);
  /// Starts the program. The question about the login items is answered already unless a test has
  /// changed `defaults`.
  void launch();
  /// The delegate, launched with its views made.
  SoftTokenOSXAppDelegate& app();

  /// Opens the view with this prefix without the roll.
  void open(const std::string& prefix);
  /// The same, and waits until it has the keyboard.
  void show(const std::string& prefix);
  void click(const std::string& button);
  /// Lets everything happen that is queued.
  static void turnEventLoop();

  template <typename Widget>
  [[nodiscard]] Widget* find(const std::string& name) {
    const QString wanted = QString::fromStdString(name);
    for (QWidget* window : QApplication::topLevelWidgets()) {
      if (auto* found = window->findChild<Widget*>(wanted)) return found;
    }
    ADD_FAILURE() << "no " << name;
    return nullptr;
  }
  [[nodiscard]] QAbstractButton* button(const std::string& name) {
    return find<QAbstractButton>(name);
  }
  [[nodiscard]] std::string caption(const std::string& name) {
    return button(name)->text().toStdString();
  }
  /// The widget's frame within the open panel.
  [[nodiscard]] Frame frameInPanel(const QWidget* widget);

  // Tokens of another program: through the same keychain, past the delegate.

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

  // What is the delegate's own.

  std::vector<FlippedImageView*>& rows() { return delegate_->tvtoken; }
  std::vector<TextLabel*>& descriptions() { return delegate_->tvdesc; }
  std::vector<TextLabel*>& passcodes() { return delegate_->tvpasscode; }
  std::vector<PanelButton*>& copyButtons() { return delegate_->tvcopy; }
  std::vector<PanelField*>& fields() { return delegate_->cvdesc; }
  std::vector<PanelCheckbox*>& checkboxes() { return delegate_->cvdelete; }
  Countdown* countdown() { return delegate_->tvcountdown; }
  FlippedView* tokenList() { return delegate_->tvview; }
  FlippedView* managementList() { return delegate_->cvview; }
  FlippedView* background() { return delegate_->bg; }
  FlippedImageView* logo() { return delegate_->bg_logo; }
  TiledImageView* tile() { return delegate_->bg_tile_view; }
  FlippedImageView* toolbar() { return delegate_->bg_toolbar; }
  CloseButton* closeButton() { return delegate_->close; }
  QWidget* savedContent() { return delegate_->content; }
  QTimer* timer() { return delegate_->timer.get(); }
  std::int32_t tokens() { return delegate_->TOKENS; }
  const SoftTokenInfo* token(std::size_t index) { return delegate_->TOKEN[index].get(); }
  void setOpenPanel(SoftTokenWindow* window) { delegate_->ow = window; }
  SoftTokenWindow* panel() { return delegate_->ow; }
  /// The prefix of the open view; empty when none is open.
  std::string openView();

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
  int status_items_shown = 0;
  /// Asked before every call of the delegate's to the keychain; ok: it goes through.
  std::function<KeychainStatus(test::FaultyKeychain::Call)> fault;

 private:
  void asAnotherProgram(const std::function<void()>& work);

  std::size_t writes_ = 0;
  std::unique_ptr<Ini> ini_;
  std::unique_ptr<SoftTokenOSXAppDelegate> delegate_;
};

}  // namespace talvane
