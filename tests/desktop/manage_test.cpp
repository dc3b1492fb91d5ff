#include <gtest/gtest.h>

#include <csignal>
#include <ctime>

#include "tests/desktop/desktop.h"

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
    openManualView();
  }

  void openManualView() {
    openPanel();
    clickButton("Add");
    ASSERT_TRUE(focusComesTo(name_field));
  }

  // Fills the form and expects it to be refused so, with all that was typed still there.
  void expectRefused(const std::string& name, const std::string& seed, const std::string& words) {
    fill(name_field, name);
    fill(seed_field, seed);
    clickButton("OK");
    answer(words, "OK");
    EXPECT_EQ(textIn(name_field), name);
    EXPECT_EQ(textIn(seed_field), seed);
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

TEST_F(ManualTest, ReturnInTheFieldIsOk) {
  fill(name_field, "Mail");
  fill(seed_field, seed_16);
  screen().key("Return");
  EXPECT_TRUE(comesToShow(Role::push_button, "Copy: Mail"));
}

TEST_F(ManualTest, LowerCaseIsASeedToo) {
  fill(name_field, "Mail");
  fill(seed_field, "jbswy3dpehpk3pxp");
  clickButton("OK");
  EXPECT_TRUE(comesToShow(Role::push_button, "Copy: Mail"));
  EXPECT_TRUE(showsPasscode(0, seed_16, 30));
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

TEST_F(ManualTest, ReturnWithThirteenCharactersShowsTheResponseToo) {
  fill(name_field, "Bound");
  fill(seed_field, seed_13);
  screen().key("Return");
  ASSERT_TRUE(comesToSay(response_field));
  EXPECT_EQ(textIn(response_field).size(), 8U);
}

TEST_F(ManualTest, OtherLengthsAreRefusedAndWhatWasTypedStays) {
  const std::string seed = seed_16;
  for (const std::size_t length : {12U, 14U, 15U}) {
    expectRefused("Mail", seed.substr(0, length), seed_field);
  }
  expectRefused("Mail", seed + "A", seed_field);
  EXPECT_EQ(storedNames(), Strings());
}

TEST_F(ManualTest, AnEmptySeedIsRefused) {
  fill(name_field, "Mail");
  clickButton("OK");
  answer(seed_field, "OK");
  EXPECT_EQ(textIn(name_field), "Mail");
}

TEST_F(ManualTest, OtherCharactersAreRefused) {
  expectRefused("Mail", "JBSWY3DPEHPK3PX!", "Invalid character in seed");
  expectRefused("Mail", "JBSWY3DPEHPK3PX-", "Invalid character in seed");
  EXPECT_EQ(storedNames(), Strings());
}

TEST_F(ManualTest, AnEmptyDescriptionIsRefused) {
  fill(seed_field, seed_16);
  clickButton("OK");
  answer(name_field, "OK");
  EXPECT_EQ(textIn(seed_field), seed_16);
  EXPECT_EQ(storedNames(), Strings());
}

TEST_F(ManualTest, TheSameNameAgainReplacesTheToken) {
  for (const char* seed : {seed_16, other_seed_16}) {
    fill(name_field, "Mail");
    fill(seed_field, seed);
    clickButton("OK");
    ASSERT_TRUE(comesToShow(Role::push_button, "Copy: Mail"));
    EXPECT_TRUE(showsPasscode(0, seed, 30));
    EXPECT_EQ(codes().size(), 1U);
    clickButton("Add");
    ASSERT_TRUE(focusComesTo(name_field));
  }
  EXPECT_EQ(storedNames(), Strings{"Mail"});
}

TEST_F(ManualTest, TheFieldsAreEmptyAgainTheNextTime) {
  fill(name_field, "Mail");
  fill(seed_field, seed_16);
  clickButton("Cancel");
  ASSERT_TRUE(comesToShow(Role::push_button, "Edit"));
  clickButton("Add");
  ASSERT_TRUE(focusComesTo(name_field));
  EXPECT_EQ(textIn(name_field), "");
  EXPECT_EQ(textIn(seed_field), "");
  EXPECT_EQ(storedNames(), Strings());
}

TEST_F(ManualTest, EscapeGoesHome) {
  screen().key("Escape");
  EXPECT_TRUE(comesToShow(Role::push_button, "Edit"));
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

TEST_F(AddChoiceTest, ByHandOnly) {
  openWith("AllowManual=1\nAllowTaEnrol=0\n");
  ASSERT_TRUE(focusComesTo(name_field));
  clickButton("Cancel");
  EXPECT_TRUE(comesToShow(Role::push_button, "Edit"));
}

TEST_F(AddChoiceTest, FromTheServerOnly) {
  openWith("AllowManual=0\nAllowTaEnrol=1\n");
  EXPECT_TRUE(comesToSay("No enrol URL configured"));
}

TEST_F(AddChoiceTest, NeitherWayStays) {
  openWith("AllowManual=0\nAllowTaEnrol=0\n");
  // What is asked for next is answered by the view that was there.
  clickButton("Help");
  EXPECT_TRUE(comesToShow(Role::push_button, "About"));
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

TEST_F(RenameTest, ReturnInTheFieldSaves) {
  openPanel();
  clickButton("Edit");
  fill("Description: Mail", "Post");
  screen().key("Return");
  EXPECT_TRUE(comesToShow(Role::push_button, "Copy: Post"));
}

TEST_F(RenameTest, EscapeSavesNothing) {
  openPanel();
  clickButton("Edit");
  fill("Description: Mail", "Post");
  screen().key("Escape");
  EXPECT_TRUE(closes());
  EXPECT_EQ(storedNames(), Strings{"Mail"});
}

TEST_F(RenameTest, ANameGivenByTheCommandLineShowsAtTheNextOpening) {
  openPanel();
  clickIcon();
  ASSERT_TRUE(closes());
  ASSERT_EQ(commandLine({"rename", "Mail", "Post"}).exit_code, 0);
  openPanel();
  EXPECT_TRUE(comesToShow(Role::push_button, "Copy: Post"));
}

TEST_F(RenameTest, ANameGivenByTheCommandLineMeanwhileStays) {
  openPanel();
  clickButton("Edit");
  ASSERT_TRUE(focusComesTo("Description: Mail"));
  ASSERT_EQ(commandLine({"rename", "Mail", "Post"}).exit_code, 0);
  clickButton("Home");
  EXPECT_TRUE(comesToShow(Role::push_button, "Copy: Post"));
  EXPECT_EQ(storedNames(), Strings{"Post"});
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

TEST_F(DeleteTest, WithNothingCheckedItAsksForATokenOnly) {
  clickButton("Delete");
  answer("Please select a token to delete", "OK");
  EXPECT_FALSE(shows(Role::push_button, "YES"));
  EXPECT_EQ(storedNames(), (Strings{"One", "Two", "Three"}));
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

TEST_F(DeleteTest, NoDeletesNothing) {
  check("Two");
  clickButton("Delete");
  answer(delete_question, "NO");
  EXPECT_EQ(storedNames(), (Strings{"One", "Two", "Three"}));
  EXPECT_TRUE(thing(Role::check_box, "Delete: Two").isChecked());
}

TEST_F(DeleteTest, ReturnIsNo) {
  check("Two");
  clickButton("Delete");
  answerByKey(delete_question, "NO", "Return");
  EXPECT_EQ(storedNames(), (Strings{"One", "Two", "Three"}));
}

TEST_F(DeleteTest, EscapeIsNo) {
  check("Two");
  clickButton("Delete");
  answerByKey(delete_question, "NO", "Escape");
  EXPECT_EQ(storedNames(), (Strings{"One", "Two", "Three"}));
  // Nor did it go to the panel.
  EXPECT_TRUE(panel());
}

TEST_F(DeleteTest, WhenAllAreGoneTheTokenViewComesBack) {
  for (const char* name : {"One", "Two", "Three"}) check(name);
  clickButton("Delete");
  answer(delete_question, "YES");
  EXPECT_TRUE(comesToShow(Role::push_button, "Edit"));
  EXPECT_EQ(storedNames(), Strings());
}

TEST_F(DeleteTest, WhatChangedMeanwhileIsNotDeleted) {
  check("Two");
  ASSERT_EQ(commandLine({"delete", "--yes", "One"}).exit_code, 0);
  clickButton("Delete");
  ASSERT_EQ(alert(), delete_question);
  clickInAlert("YES");
  ASSERT_TRUE(until([&] { return alert() != delete_question; }));
  answer("The tokens changed in the meantime and nothing was deleted; check them and try again",
         "OK");
  EXPECT_EQ(storedNames(), (Strings{"Two", "Three"}));
}

}  // namespace
}  // namespace talvane::test
