#include <gtest/gtest.h>

#include "tests/desktop/desktop.h"

namespace talvane::test {
namespace {

class KeyboardTest : public DesktopTest {
 protected:
  void openWithTokens() {
    add("One");
    add("Two");
    start();
    openPanel();
    ASSERT_TRUE(focusComesTo("Copy: One"));
  }

  // Expects the key to lead to these in turn.
  void expectOrder(const char* key, const Strings& order) {
    for (const std::string& next : order) {
      screen().key(key);
      ASSERT_TRUE(focusComesTo(next, std::chrono::seconds(2)))
          << "wanted: " << next << ", has: " << focus();
    }
  }
};

TEST_F(KeyboardTest, ThePanelHasItWhenItOpens) {
  openWithTokens();
  screen().key("Escape");
  EXPECT_TRUE(closes());
  EXPECT_EQ(startAgain({"--toggle"}).exit_code, 0);
  EXPECT_TRUE(opens());
  EXPECT_TRUE(focusComesTo("Copy: One"));
  screen().key("Escape");
  EXPECT_TRUE(closes());
}

TEST_F(KeyboardTest, TabGoesThroughTheManualView) {
  setSettings("AllowManual=yes\nAllowTaEnrol=no\n");
  start();
  openPanel();
  clickButton("Add");
  ASSERT_TRUE(focusComesTo("Enter a description"));
  expectOrder(
      "Tab", {"Enter your 13 or 16 character key", "Cancel", "OK", "Close", "Enter a description"});
}

TEST_F(KeyboardTest, TabAndArrowsGoThroughTheHelpView) {
  start();
  openPanel();
  clickButton("Help");
  ASSERT_TRUE(focusComesTo("Getting started"));
  expectOrder("Tab", {"Manage Your Token Type", "About", "Add to \"Login Items\"", "Exit", "Home",
                      "Shortcut: none", "Close", "Getting started"});
  expectOrder("Down",
              {"Manage Your Token Type", "About", "Add to \"Login Items\"", "Exit", "Exit"});
}

TEST_F(KeyboardTest, TabAndArrowsGoThroughTheAddView) {
  start();
  openPanel();
  clickButton("Add");
  ASSERT_TRUE(focusComesTo("Enrol from a server"));
  expectOrder("Tab", {"Enter manually", "Cancel", "Close", "Enrol from a server"});
  expectOrder("Down", {"Enter manually", "Enter manually"});
}

TEST_F(KeyboardTest, ThePanelHasItAgainAfterAnAlert) {
  start();
  openPanel();
  clickButton("Help");
  ASSERT_TRUE(focusComesTo("Getting started"));
  expectOrder("Tab", {"Manage Your Token Type"});
  screen().key("Return");
  answerByKey("No enrol URL configured", "OK", "Return");
  EXPECT_TRUE(focusComesTo("Manage Your Token Type"));
  screen().key("Escape");
  EXPECT_TRUE(focusComesTo("Add"));
  screen().key("Escape");
  EXPECT_TRUE(closes());
}

TEST_F(KeyboardTest, ThePanelKeepsItWhenItsViewIsRenewed) {
  start();
  openPanel();
  clickButton("Help");
  ASSERT_TRUE(focusComesTo("Getting started"));
  clickButton("Add to \"Login Items\"");
  ASSERT_TRUE(comesToShow(Role::push_button, "Remove from \"Login Items\""));
  EXPECT_TRUE(focusComesTo("Remove from \"Login Items\""));
  screen().key("Escape");
  EXPECT_TRUE(focusComesTo("Add"));
  screen().key("Escape");
  EXPECT_TRUE(closes());
}

TEST_F(KeyboardTest, ThePanelHasItWhenItIsClosedAndOpenedQuickly) {
  openWithTokens();
  clickIcon();
  clickIcon();
  EXPECT_TRUE(opens());
  EXPECT_TRUE(focusComesTo("Copy: One"));
}

TEST_F(KeyboardTest, AllByTheKeyboard) {
  start();
  EXPECT_EQ(startAgain({"--toggle"}).exit_code, 0);
  ASSERT_TRUE(focusComesTo("Add"));
  screen().key("Return");
  ASSERT_TRUE(focusComesTo("Enrol from a server"));
  screen().key("Down");
  ASSERT_TRUE(focusComesTo("Enter manually"));
  screen().key("Return");
  ASSERT_TRUE(focusComesTo("Enter a description"));
  screen().type("Mail");
  screen().key("Tab");
  ASSERT_TRUE(focusComesTo("Enter your 13 or 16 character key"));
  screen().type(seed_16);
  screen().key("Return");
  ASSERT_TRUE(focusComesTo("Copy: Mail"));
  EXPECT_EQ(storedNames(), Strings{"Mail"});
}

}  // namespace
}  // namespace talvane::test
