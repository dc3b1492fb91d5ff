// What a user hears of each view who does not see it.

#include <gtest/gtest.h>

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <regex>
#include <string>
#include <thread>

#include "tests/desktop/desktop.h"
#include "tests/secret_service/bus_client.h"
#include "tests/support/demo_server.h"

namespace talvane::test {
namespace {

std::string spaced(const std::string& digits) {
  std::string result;
  for (const char digit : digits) result += (result.empty() ? "" : " ") + std::string(1, digit);
  return result;
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at)) {
    text.replace(at, from.size(), to);
    at += to.size();
  }
  return text;
}

class SpokenTest : public DesktopTest {
 protected:
  SpokenTest() {
    std::filesystem::create_directories(TREES);
    reader_->listen();
  }

  /// What stands on the screen comes to this, once the passcodes of the moment are written as
  /// CODE1, of `seed_16`, and CODE2, of `other_seed_16`, and the seconds that are left as N. It is
  /// kept beside the pictures of the views.
  void expectTree(const std::string& view, const std::string& expected) {
    std::string tree;
    const bool same = until(
        [&] {
          const std::int64_t now = std::time(nullptr);
          std::string read = reader_->tree();
          writeFile(std::filesystem::path(TREES) / (view + ".txt"), read);
          int number = 1;
          for (const char* seed : {seed_16, other_seed_16}) {
            const std::string code = passcodeOf(seed, 30, now);
            const std::string name = "CODE" + std::to_string(number++);
            read = replaced(replaced(read, spaced(code), spaced(name)), code, name);
          }
          tree = std::regex_replace(read, std::regex("value=[0-9]+ of"), "value=N of");
          return tree == expected;
        },
        std::chrono::seconds(5));
    EXPECT_TRUE(same) << view << ":\n" << tree << "instead of:\n" << expected;
  }
  void expectHeard(const std::string& words) {
    EXPECT_TRUE(until(
        [&] {
          const Strings& heard = reader_->heard();
          return std::find(heard.begin(), heard.end(), words) != heard.end();
        },
        std::chrono::seconds(5)))
        << words << "; last: " << (reader_->heard().empty() ? "nothing" : reader_->heard().back());
  }
  std::ptrdiff_t timesHeard(const std::string& words) {
    const Strings& heard = reader_->heard();
    return std::count(heard.begin(), heard.end(), words);
  }
  // Not across a change of the passcode.
  static void awaitSecond(int first, int last) {
    ASSERT_TRUE(until(
        [&] {
          const auto second = std::time(nullptr) % 30;
          return second >= first && second <= last;
        },
        std::chrono::seconds(31)));
  }
};

TEST_F(SpokenTest, TokensAreAListWithTheirDigitsOneByOne) {
  add("Bank");
  add("R&D \"east\"", other_seed_16);
  start();
  awaitSecond(0, 20);
  openPanel();
  expectTree("tokens",
             "dialog 'Passcodes'\n"
             "  list 'Tokens'\n"
             "    list item 'Bank'\n"
             "      label 'Bank'\n"
             "      label 'CODE1'\n"
             "      push button 'Copy: Bank' description='C O D E 1' focused\n"
             "    list item 'R&D \"east\"'\n"
             "      label 'R&D \"east\"'\n"
             "      label 'CODE2'\n"
             "      push button 'Copy: R&D \"east\"' description='C O D E 2'\n"
             "    progress bar 'Time left' value=N of 0..30\n"
             "  push button 'Close'\n"
             "  push button 'Edit'\n"
             "  push button 'Help'\n"
             "  push button 'Add'\n");
}

TEST_F(SpokenTest, TimeLeftIsToldWhenAskedOnly) {
  add("Bank");
  start();
  awaitSecond(5, 20);
  openPanel();
  const Thing bar = thing(Role::progress_bar, "Time left");
  const auto value = reader_->valueOf(bar);
  ASSERT_TRUE(value.has_value());
  const auto left = static_cast<double>(30 - std::time(nullptr) % 30);
  EXPECT_NEAR(value->now, left, 1);
  EXPECT_EQ(value->least, 0);
  EXPECT_EQ(value->most, 30);
  EXPECT_TRUE(until([&] { return reader_->valueOf(bar)->now <= value->now - 2; }));
  EXPECT_EQ(timesHeard("value"), 0);
}

TEST_F(SpokenTest, NewDigitsAreToldWhenThePasscodeChanges) {
  add("Bank");
  start();
  awaitSecond(18, 24);
  openPanel();
  const std::string next = passcodeOf(seed_16, 30, std::time(nullptr) / 30 * 30 + 30);
  ASSERT_TRUE(comesToShow(Role::label, "Next\n" + next));
  EXPECT_EQ(timesHeard("description: " + spaced(next)), 0);
  EXPECT_TRUE(until([&] { return timesHeard("description: " + spaced(next)) == 1; }));
}

TEST_F(SpokenTest, FindingSaysWhatIsTypedAndHowManyAreFound) {
  add("Bank");
  add("Barn", other_seed_16);
  start();
  openPanel();
  ASSERT_TRUE(focusComesTo("Copy: Bank"));
  screen().type("b");
  expectHeard("b: 2 of 2 tokens");
  screen().type("ar");
  expectHeard("bar: 1 of 2 tokens");
  awaitSecond(0, 20);
  expectTree("finding",
             "dialog 'Passcodes'\n"
             "  list 'Tokens'\n"
             "    list item 'Barn'\n"
             "      label 'Barn'\n"
             "      label 'CODE2'\n"
             "      push button 'Copy: Barn' description='C O D E 2' focused\n"
             "    progress bar 'Time left' value=N of 0..30\n"
             "  push button 'Close'\n"
             "  push button 'Edit'\n"
             "  push button 'Help'\n"
             "  push button 'Add'\n"
             "  label 'bar'\n"
             "  notification 'bar: 1 of 2 tokens'\n");
  screen().type("x");
  expectHeard("No token has “barx” in its name. Escape shows all tokens");
  screen().key("Escape");
  expectHeard("2 of 2 tokens");
}

TEST_F(SpokenTest, CopiedIsSaidOnceAndNotAgain) {
  add("Work mail");
  start();
  openPanel();
  ASSERT_TRUE(focusComesTo("Copy: Work mail"));
  screen().key("Return");
  ASSERT_TRUE(closes());
  expectHeard("Passcode for Work mail copied");
  openPanel();
  ASSERT_TRUE(focusComesTo("Copy: Work mail"));
  EXPECT_EQ(timesHeard("Passcode for Work mail copied"), 1);
  EXPECT_EQ(names(Role::notification), Strings());
}

TEST_F(SpokenTest, EmptyListSaysHowToGetAToken) {
  start();
  openPanel();
  const std::string words =
      "No tokens yet. Press Add to enrol at a server or type a key, or drop a link or QR code "
      "image "
      "here.";
  expectHeard(words);
  expectTree("no-tokens",
             "dialog 'Passcodes'\n"
             "  notification '" +
                 words +
                 "'\n"
                 "  list 'Tokens'\n"
                 "  push button 'Close'\n"
                 "  push button 'Edit' disabled\n"
                 "  push button 'Help'\n"
                 "  push button 'Add' focused\n");
}

// The tokens are in the desktop's keyring.
class SpokenTroubleTest : public SpokenTest {
 protected:
  void storeInKeyring(const Strings& tokens) {
    session_.startDaemon("open sesame");
    for (const std::string& name : tokens) {
      const Ended ended =
          commandLine({"--keychain", "secret-service", "add", name}, seed_16 + std::string("\n"));
      ASSERT_EQ(ended.exit_code, 0) << ended.err;
    }
  }
  // The first text that the panel shows and announces; empty if there is none.
  [[nodiscard]] std::string shownWords() {
    const Strings shown = names(Role::notification);
    return shown.empty() ? "" : shown[0];
  }
};

TEST_F(SpokenTroubleTest, LockedKeychainOffersToUnlock) {
  storeInKeyring({"Mail"});
  talvane::testing::BusClient client;
  client.lock(client.defaultCollection());
  start();
  openPanel();
  const std::string words = shownWords();
  EXPECT_NE(words.find("The keychain is locked"), std::string::npos) << words;
  expectHeard(words);
  expectTree("locked",
             "dialog 'Passcodes'\n"
             "  notification '" +
                 words +
                 "'\n"
                 "  push button 'Unlock' focused\n"
                 "  list 'Tokens'\n"
                 "  push button 'Close'\n"
                 "  push button 'Edit' disabled\n"
                 "  push button 'Help'\n"
                 "  push button 'Add'\n");
}

TEST_F(SpokenTroubleTest, DamagedRecordIsSaidAndHasItsWordsInEdit) {
  storeInKeyring({"Mail", "Bank"});
  talvane::testing::BusClient client;
  const std::string account = getpwuid(getuid())->pw_name;
  for (const std::string& item : client.findItems("TalvaneSoftToken5020", account)) {
    client.call("org.freedesktop.secrets", item, "org.freedesktop.Secret.Item", "Delete", nullptr);
  }
  client.addItem(client.defaultCollection(), "TalvaneSoftToken5020", account, "AAAA");
  start();
  openPanel();
  const std::string words = shownWords();
  EXPECT_NE(words.find("slot 0 is damaged"), std::string::npos) << words;
  expectHeard(words);
  expectTree("damaged",
             "dialog 'Passcodes'\n"
             "  notification '" +
                 words +
                 "'\n"
                 "  list 'Tokens'\n"
                 "  push button 'Close'\n"
                 "  push button 'Edit'\n"
                 "  push button 'Help'\n"
                 "  push button 'Add' focused\n");
  clickButton("Edit");
  ASSERT_TRUE(comesToShow(Role::text, "Slot 0: unreadable"));
  const std::string described = reader_->descriptionOf(thing(Role::text, "Slot 0: unreadable"));
  EXPECT_EQ(words.find(described), 0U) << described;
  expectTree("edit-damaged",
             "dialog 'Edit tokens'\n"
             "  text 'Slot 0: unreadable' description='" +
                 described +
                 "' text='Slot 0: unreadable' read-only focused\n"
                 "  check box 'Delete: Slot 0: unreadable' not checked\n"
                 "  push button 'Close'\n"
                 "  push button 'Delete'\n"
                 "  push button 'Home'\n"
                 "  push button 'Add'\n");
}

TEST_F(SpokenTest, EditNamesEachControlAndSaysWhereATokenWentTo) {
  add("R&D \"east\"");
  add("Bound", seed_13);
  start();
  openPanel();
  clickButton("Edit");
  ASSERT_TRUE(focusComesTo("Description: R&D \"east\""));
  screen().key("Tab");
  screen().key("space");
  expectTree("edit",
             "dialog 'Edit tokens'\n"
             "  text 'Description: R&D \"east\"' text='R&D \"east\"'\n"
             "  check box 'Delete: R&D \"east\"' checked focused\n"
             "  text 'Description: Bound' text='Bound'\n"
             "  check box 'Delete: Bound' not checked\n"
             "  push button 'Response code: Bound'\n"
             "  push button 'Close'\n"
             "  push button 'Delete'\n"
             "  push button 'Home'\n"
             "  push button 'Add'\n");
  screen().key("alt+Down");
  expectHeard("R&D \"east\": place 2 of 2");
  EXPECT_TRUE(focusComesTo("Delete: R&D \"east\""));
  screen().key("alt+Up");
  expectHeard("R&D \"east\": place 1 of 2");
  EXPECT_TRUE(focusComesTo("Delete: R&D \"east\""));
}

TEST_F(SpokenTest, ResponseIsLabelled) {
  add("Bound", seed_13);
  start();
  openPanel();
  clickButton("Edit");
  clickButton("Response code: Bound");
  ASSERT_TRUE(comesToShow(Role::text, "Your response code"));
  const std::string code = textIn("Your response code");
  EXPECT_EQ(code.size(), 8U);
  expectTree("response",
             "dialog 'Response code'\n"
             "  label 'Your response code'\n"
             "  text 'Your response code' text='" +
                 code +
                 "' read-only\n"
                 "  label 'Give this code to your administrator: the server needs it to "
                 "accept your passcodes.'\n"
                 "  push button 'Close'\n"
                 "  push button 'OK' focused\n");
}

TEST_F(SpokenTest, Help) {
  setSettings("AllowManual=true\nLoginItems=off\n");
  start();
  openPanel();
  clickButton("Help");
  ASSERT_TRUE(comesToShow(Role::push_button, "Shortcut: none"));
  ASSERT_TRUE(focusComesTo("Getting started"));
  expectTree("help",
             "dialog 'Help'\n"
             "  push button 'Getting started' focused\n"
             "  push button 'Manage Your Token Type'\n"
             "  push button 'About'\n"
             "  push button 'Add to \"Login Items\"' disabled\n"
             "  push button 'Exit'\n"
             "  push button 'Close'\n"
             "  push button 'Home'\n"
             "  push button 'Shortcut: none'\n");
}

TEST_F(SpokenTest, WaysToAddAndManualEntryWithItsRefusal) {
  start();
  openPanel();
  clickButton("Add");
  ASSERT_TRUE(focusComesTo("Enrol from a server"));
  expectTree("add",
             "dialog 'Add a token'\n"
             "  push button 'Enrol from a server' focused\n"
             "  push button 'Enter manually'\n"
             "  push button 'Close'\n"
             "  push button 'Cancel'\n");
  clickButton("Enter manually");
  ASSERT_TRUE(focusComesTo("Enter a description"));
  const std::string form =
      "dialog 'Add a token by hand'\n"
      "  label 'Enter a description'\n"
      "  text 'Enter a description' text=''FOCUS\n"
      "  label 'Enter your 13 or 16 character key'\n"
      "  text 'Enter your 13 or 16 character key' text=''\n"
      "  push button 'Close'\n"
      "  push button 'Cancel'\n"
      "  push button 'OK'\n";
  expectTree("manual", replaced(form, "FOCUS", " focused"));
  clickButton("OK");
  ASSERT_EQ(alert(), "Enter a description");
  expectTree("refusal", replaced(form, "FOCUS", "") +
                            "alert message 'Talvane Soft Token'\n"
                            "  graphic ''\n"
                            "  label 'Talvane Soft Token'\n"
                            "  label 'Enter a description'\n"
                            "  push button 'OK' focused\n");
}

TEST_F(SpokenTest, AddressSaysWhyItIsAskedFor) {
  setSettings("AllowTaEnrol=yes\nAllowManual=no\n");
  start();
  openPanel();
  clickButton("Add");
  const std::string address = "Please enter the URL of your company's Talvane server taenrol page";
  ASSERT_TRUE(focusComesTo(address)) << focus();
  const std::string words = names(Role::notification).at(0);
  EXPECT_NE(words, "");
  expectHeard(words);
  expectTree("address",
             "dialog 'Enrolment server'\n"
             "  notification '" +
                 words +
                 "'\n"
                 "  label '" +
                 address +
                 "'\n"
                 "  text '" +
                 address +
                 "' text='' focused\n"
                 "  push button 'Close'\n"
                 "  push button 'Cancel'\n"
                 "  push button 'Submit'\n");
}

TEST_F(SpokenTest, FirstQuestion) {
  forgetAnswers();
  start();
  ASSERT_EQ(alert(), "Add to \"Login Items\"?");
  ASSERT_TRUE(focusComesTo("NO"));
  EXPECT_TRUE(until([&] { return button("YES").isEnabled(); }));
  expectTree("question",
             "alert message 'Talvane Soft Token'\n"
             "  graphic ''\n"
             "  label 'Talvane Soft Token'\n"
             "  label 'Add to \"Login Items\"?'\n"
             "  push button 'YES'\n"
             "  push button 'NO' focused\n");
}

class SpokenEnrolTest : public SpokenTest {
 protected:
  void clickPlace(std::string_view menu) { click(thing(Role::combo_box, menu)); }
  void signIn(const std::string& path, const std::string& user) {
    setSettings("AllowHTTP=yes\nEnrolURL=" + server.http() + path + '\n');
    start();
    openPanel();
    clickButton("Add");
    ASSERT_TRUE(focusComesTo("Username")) << focus();
    fill("Username", user);
  }

  TemporaryFolder folder;
  DemoServer server{folder};
};

TEST_F(SpokenEnrolTest, SignInSaysWhatIsWantedAndWhatIsWrong) {
  signIn("/password", "ben");
  fillSecret("Microsoft Password", "guess");
  clickButton("Submit");
  ASSERT_TRUE(comesToSay("Wrong password"));
  const std::string words = names(Role::notification).at(0);
  expectHeard(words);
  ASSERT_TRUE(focusComesTo("Microsoft Password"));
  expectTree("sign-in",
             "dialog 'Sign in'\n"
             "  notification '" +
                 words +
                 "'\n"
                 "  label 'Username'\n"
                 "  text 'Username' text='ben'\n"
                 "  label 'Microsoft Password'\n"
                 "  password text 'Microsoft Password' focused\n"
                 "  push button 'Close'\n"
                 "  push button 'Cancel'\n"
                 "  push button 'Submit' disabled\n");
}

TEST_F(SpokenEnrolTest, PinSaysWhatItLacksAndQuestionsAreLabelled) {
  signIn("", "kim");
  clickButton("Submit");
  const std::string prompt = "Please choose an 8-character PIN.";
  ASSERT_TRUE(focusComesTo(prompt));
  screen().type("1928");
  const Thing pin = thing(Role::password_text, prompt);
  std::string problem;
  ASSERT_TRUE(until([&] { return !(problem = reader_->descriptionOf(pin)).empty(); }));
  expectHeard("description: " + problem);
  expectTree("pin-and-questions",
             "dialog 'New PIN and secret questions'\n"
             "  label 'Please choose an 8-character PIN. '\n"
             "  password text 'Please choose an 8-character PIN.' description='4 more characters' "
             "focused\n"
             "  password text 'Type the PIN again' description='4 more characters'\n"
             "  label 'Secret Questions'\n"
             "  combo box 'First pet?' label='Question 1'\n"
             "  text 'Answer 1' text=''\n"
             "  combo box 'First school?' label='Question 2'\n"
             "  text 'Answer 2' text=''\n"
             "  combo box 'Favourite colour?' label='Question 3'\n"
             "  text 'Answer 3' text=''\n"
             "  push button 'Close'\n"
             "  push button 'Cancel'\n"
             "  push button 'Submit' disabled\n");
  screen().type("3746");
  ASSERT_TRUE(until([&] { return reader_->descriptionOf(pin).empty(); }));
  EXPECT_EQ(reader_->descriptionOf(thing(Role::password_text, "Type the PIN again")),
            "The same as above");
  // The open menu, too.
  clickPlace("First pet?");
  EXPECT_TRUE(until([&] { return shows(Role::list, "Question 1"); })) << reader_->tree();
}

}  // namespace
}  // namespace talvane::test
