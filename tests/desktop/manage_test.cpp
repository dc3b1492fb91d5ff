#include <gtest/gtest.h>

#include <csignal>

#include "tests/desktop/desktop.h"
#include "ui/kit/alert_place.h"

namespace talvane::test {
namespace {

constexpr const char* name_field = "Enter a description";
constexpr const char* seed_field = "Enter your 13 or 16 character key";
constexpr const char* response_field = "Your response code";
constexpr const char* delete_question = "Are you sure you want to delete these tokens?";

class ManualTest : public DesktopTest {
 protected:
  ManualTest() {
    setSettings("AllowManual=yes\nAllowTaEnrol=no\n");
    start();
    openPanel();
    clickButton("Add");
    EXPECT_TRUE(focusComesTo(name_field));
  }
};

TEST_F(ManualTest, SixteenCharactersGoHomeWithTheTokenThere) {
  fill(name_field, "Mail");
  fill(seed_field, seed_16);
  clickButton("OK");
  EXPECT_TRUE(comesToShow(Role::push_button, "Copy: Mail"));
  EXPECT_TRUE(showsPasscode(0, seed_16, 30));
  EXPECT_EQ(storedNames(), Strings{"Mail"});
}

TEST_F(ManualTest, ThirteenCharactersShowTheResponseOfThisComputer) {
  fill(name_field, "Bound");
  fill(seed_field, seed_13);
  // The response holds the passcode of the moment: one command before and one behind it.
  const auto response = [&](const std::string& name) {
    const Ended ended =
        commandLine({"--keychain", "vault", "add", name}, seed_13 + std::string("\n"));
    const std::string mark = "Response code: ";
    const auto at = ended.out.find(mark);
    EXPECT_NE(at, std::string::npos) << ended.out << ended.err;
    return at == std::string::npos ? std::string() : ended.out.substr(at + mark.size(), 8);
  };
  const std::string before = response("Before");
  clickButton("OK");
  ASSERT_TRUE(comesToSay(response_field));
  const std::string shown = textIn(response_field);
  const std::string after = response("After");
  EXPECT_TRUE(shown == before || shown == after) << shown << ": " << before << ", " << after;
  clickButton("OK");
  EXPECT_TRUE(comesToShow(Role::push_button, "Copy: Bound"));
}

TEST_F(ManualTest, ATokenOutlivesTheProgram) {
  fill(name_field, "Mail");
  fill(seed_field, seed_16);
  clickButton("OK");
  ASSERT_TRUE(comesToShow(Role::push_button, "Copy: Mail"));
  program_.signal(SIGKILL);
  ASSERT_EQ(program_.end(), -SIGKILL);
  ASSERT_TRUE(until([&] { return !icon(); }));
  start();
  openPanel();
  EXPECT_TRUE(comesToShow(Role::push_button, "Copy: Mail"));
  EXPECT_TRUE(showsPasscode(0, seed_16, 30));
}

class AddChoiceTest : public DesktopTest {
 protected:
  void openWith(const std::string& settings) {
    setSettings(settings);
    start();
    openPanel();
    clickButton("Add");
  }
};

TEST_F(AddChoiceTest, WhereBothWaysAreAllowedTheUserChooses) {
  openWith("AllowManual=1\nAllowTaEnrol=1\n");
  clickButton("Enter manually");
  ASSERT_TRUE(focusComesTo(name_field));
  clickButton("Cancel");
  ASSERT_TRUE(comesToShow(Role::push_button, "Enrol from a server"));
  clickButton("Cancel");
  EXPECT_TRUE(comesToShow(Role::push_button, "Edit"));
}

class RenameTest : public DesktopTest {
 protected:
  RenameTest() {
    add("Mail");
    start();
  }

  void rename(const std::string& from, const std::string& to) {
    clickButton("Edit");
    ASSERT_TRUE(focusComesTo("Description: " + from));
    fill("Description: " + from, to);
    clickButton("Home");
    ASSERT_TRUE(comesToShow(Role::push_button, "Copy: " + to));
    EXPECT_TRUE(shows(Role::label, to));
  }
};

TEST_F(RenameTest, ThereAndBack) {
  openPanel();
  rename("Mail", "Post");
  EXPECT_EQ(storedNames(), Strings{"Post"});
  EXPECT_TRUE(showsPasscode(0, seed_16, 30));
  rename("Post", "Mail");
  EXPECT_EQ(storedNames(), Strings{"Mail"});
}

TEST_F(RenameTest, EscapeSavesAndGoesHome) {
  openPanel();
  clickButton("Edit");
  fill("Description: Mail", "Post");
  screen().key("Escape");
  EXPECT_TRUE(focusComesTo("Copy: Post"));
  EXPECT_EQ(storedNames(), Strings{"Post"});
  screen().key("Escape");
  EXPECT_TRUE(closes());
}

TEST_F(RenameTest, ANameGivenByTheCommandLineShowsAtTheNextOpening) {
  openPanel();
  clickIcon();
  ASSERT_TRUE(closes());
  ASSERT_EQ(commandLine({"rename", "Mail", "Post"}).exit_code, 0);
  openPanel();
  EXPECT_TRUE(comesToShow(Role::push_button, "Copy: Post"));
}

class DeleteTest : public DesktopTest {
 protected:
  DeleteTest() {
    for (const char* name : {"One", "Two", "Three"}) add(name);
    start();
    openPanel();
    clickButton("Edit");
    EXPECT_TRUE(focusComesTo("Description: One"));
  }

  void check(const std::string& name) {
    const Thing box = thing(Role::check_box, "Delete: " + name);
    // The box is at the left end.
    screen().click(box.place.x + 8, box.place.y + box.place.height / 2);
    ASSERT_TRUE(until([&] { return thing(Role::check_box, "Delete: " + name).isChecked(); }));
  }
};

TEST_F(DeleteTest, TheQuestionStandsBesideThePanel) {
  check("One");
  clickButton("Delete");
  ASSERT_EQ(alert(), delete_question);
  const Rectangle rows = panel()->place;
  const auto place = [&] {
    Rectangle widest = rows;
    for (const ShownWindow& window : screen().windowsOf("softtoken")) {
      if (window.place.width > widest.width) widest = window.place;
    }
    return widest;
  };
  // The window manager's frame is above it, so it is a little lower than the panel.
  EXPECT_TRUE(until([&] { return place().y > rows.y; })) << place().y;
  EXPECT_LT(place().y, rows.y + alert_frame_top);
  EXPECT_LT(place().x + place().width, rows.x);
  EXPECT_GE(place().x, 0);
  clickInAlert("NO");
  EXPECT_TRUE(alertGoes());
}

TEST_F(DeleteTest, YesDeletesWhatIsChecked) {
  check("One");
  check("Three");
  clickButton("Delete");
  answer(delete_question, "YES");
  EXPECT_TRUE(until([&] { return !shows(Role::check_box, "Delete: One"); }));
  EXPECT_EQ(storedNames(), Strings{"Two"});
  EXPECT_TRUE(shows(Role::check_box, "Delete: Two"));
  EXPECT_FALSE(shows(Role::check_box, "Delete: Three"));
}

}  // namespace
}  // namespace talvane::test
