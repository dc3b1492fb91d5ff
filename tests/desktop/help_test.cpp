#include <gtest/gtest.h>

#include "tests/desktop/desktop.h"

namespace talvane::test {
namespace {

constexpr const char* add_caption = "Add to \"Login Items\"";
constexpr const char* remove_caption = "Remove from \"Login Items\"";

class HelpTest : public DesktopTest {
 protected:
  void openHelp() {
    start();
    openPanel();
    clickButton("Help");
    ASSERT_TRUE(comesToShow(Role::push_button, "About"));
  }
};

TEST_F(HelpTest, TheCaptionSaysWhatAPressDoes) {
  openHelp();
  clickButton(add_caption);
  ASSERT_TRUE(comesToShow(Role::push_button, remove_caption));
  ASSERT_EQ(autostartEntries().size(), 1U);
  EXPECT_NE(readFile(autostartEntries().front()).find(SOFTTOKEN), std::string::npos);
  clickButton(remove_caption);
  ASSERT_TRUE(comesToShow(Role::push_button, add_caption));
  EXPECT_EQ(autostartEntries(), Strings());
}

TEST_F(HelpTest, AnEntryRemovedByAnotherProgramChangesTheCaption) {
  openHelp();
  clickButton(add_caption);
  ASSERT_TRUE(comesToShow(Role::push_button, remove_caption));
  ASSERT_EQ(autostartEntries().size(), 1U);
  const std::string entry = autostartEntries().front();
  const std::string text = readFile(entry);
  std::filesystem::remove(entry);
  EXPECT_TRUE(comesToShow(Role::push_button, add_caption));
  // And one that comes back.
  writeFile(entry, text);
  EXPECT_TRUE(comesToShow(Role::push_button, remove_caption));
}

TEST_F(HelpTest, GettingStartedOpensItsPage) {
  setSettings("GettingStartedURL=https://start.example/here?a=b\n");
  std::filesystem::create_directory(path("bin"));
  const std::string browser = path("bin/xdg-open");
  writeFile(browser, "#!/bin/sh\nprintf '%s' \"$1\" >" + path("opened.new") + "\nmv " +
                         path("opened.new") + " " + path("opened") + "\n");
  std::filesystem::permissions(browser, std::filesystem::perms::owner_all);
  openHelp();
  clickButton("Getting started");
  EXPECT_TRUE(until([&] { return exists(path("opened")); }));
  EXPECT_EQ(readFile(path("opened")), "https://start.example/here?a=b");
}

TEST_F(HelpTest, ExitEndsTheProgram) {
  openHelp();
  clickButton("Exit");
  EXPECT_EQ(program_.end(), 0);
}

// Every thing that can be used can be named by a screen reader.
class NamesTest : public DesktopTest {
 protected:
  void expectNames(const std::string& view) {
    int controls = 0;
    for (const Thing& it : showing()) {
      EXPECT_NE(it.role_name, "") << view;
      EXPECT_NE(it.role_name, "unknown") << view;
      EXPECT_NE(it.role_name, "invalid") << view;
      const bool is_control = it.role == Role::push_button || it.role == Role::text ||
                              it.role == Role::check_box || it.isFocusable();
      if (!is_control) continue;
      ++controls;
      EXPECT_NE(it.name, "") << view << ": a " << it.role_name << " at " << it.place.x << ", "
                             << it.place.y;
      EXPECT_TRUE(it.role == Role::push_button || it.role == Role::text ||
                  it.role == Role::check_box)
          << view << ": " << it.name << " is a " << it.role_name;
    }
    // At least the close button and one of the view's own.
    EXPECT_GE(controls, 2) << view;
  }
};

TEST_F(NamesTest, OfTheTokenView) {
  add("One");
  add("Two");
  start();
  openPanel();
  ASSERT_TRUE(comesToShow(Role::push_button, "Copy: Two"));
  expectNames("tokens");
}

TEST_F(NamesTest, OfTheManagementView) {
  add("One");
  add("Two");
  start();
  openPanel();
  clickButton("Edit");
  ASSERT_TRUE(comesToShow(Role::text, "Description: Two"));
  EXPECT_TRUE(shows(Role::check_box, "Delete: Two"));
  expectNames("management");
}

TEST_F(NamesTest, OfAQuestion) {
  forgetAnswers();
  start();
  ASSERT_NE(alert(), "");
  EXPECT_TRUE(shows(Role::push_button, "YES"));
  EXPECT_TRUE(shows(Role::push_button, "NO"));
}

}  // namespace
}  // namespace talvane::test
