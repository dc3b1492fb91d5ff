// Enrolling as a user does, against the demo enrolment server.

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/desktop/desktop.h"
#include "tests/support/demo_server.h"

namespace talvane::test {
namespace {

constexpr const char* user_field = "Username";
constexpr const char* password_field = "Microsoft Password";
constexpr const char* passcode_field = "Passcode";

class EnrolTest : public DesktopTest {
 protected:
  using Fields = std::vector<std::pair<std::string, std::string>>;

  /// Opens the sign-in view of this address.
  void signInAt(const std::string& address, const std::string& more_settings = {}) {
    setSettings("AllowManual=yes\nAllowHTTP=yes\nEnrolURL=" + address + '\n' + more_settings);
    start();
    openPanel();
    clickButton("Add");
    ASSERT_TRUE(comesToShow(Role::push_button, "Enrol from a server"));
    clickButton("Enrol from a server");
    ASSERT_TRUE(focusComesTo(user_field)) << focus();
  }
  void submit() { clickButton("Submit"); }
  void submitUser(const std::string& user) {
    fill(user_field, user);
    submit();
  }
  /// The answers to the questions, in order.
  void answerAll(const Strings& answers) {
    for (std::size_t i = 0; i < answers.size(); ++i) {
      fill("Answer " + std::to_string(i + 1), answers[i]);
    }
    submit();
  }
  /// The token is there, and its passcode is one that the server takes.
  void expectEnrolled(const std::string& user) {
    ASSERT_TRUE(comesToShow(Role::push_button, "Copy: Demo " + user));
    EXPECT_EQ(storedNames(), Strings{"Demo " + user});
    ASSERT_EQ(codes().size(), 1U);
    EXPECT_EQ(server.verdict(user, codes().front()), "valid\n");
  }
  /// The sign-in view stays, with these words.
  void expectRefused(const std::string& words) {
    EXPECT_TRUE(comesToSay(words));
    EXPECT_TRUE(shows(Role::push_button, "Submit"));
    EXPECT_EQ(storedNames(), Strings());
  }
  /// The letters that the challenge asks for, once they are others than these.
  std::string lettersOtherThan(const std::string& before) {
    const std::string prompt = "Enter the letters ";
    std::string letters;
    const bool came = until([&] {
      for (const std::string& label : names(Role::label)) {
        if (label.starts_with(prompt)) letters = label.substr(prompt.size());
      }
      return !letters.empty() && letters != before;
    });
    EXPECT_TRUE(came);
    return letters;
  }

  TemporaryFolder folder;
  DemoServer server{folder};
};

TEST_F(EnrolTest, Password) {
  signInAt(server.http() + "/password");
  fill(user_field, "ben");
  fillSecret(password_field, "secret");
  submit();
  expectEnrolled("ben");
}

TEST_F(EnrolTest, WrongPasswordThenTheRightOne) {
  signInAt(server.http() + "/password");
  fill(user_field, "ben");
  fillSecret(password_field, "guess");
  submit();
  expectRefused("Wrong password");
  EXPECT_EQ(textIn(user_field), "ben");
  fillSecret(password_field, "secret");
  submit();
  expectEnrolled("ben");
}

TEST_F(EnrolTest, ThreeChallenges) {
  signInAt(server.http());
  submitUser("eva");
  std::string letters;
  for (int round = 0; round < 3; ++round) {
    letters = lettersOtherThan(letters);
    ASSERT_EQ(letters.size(), 4U);
    EXPECT_FALSE(shows(Role::text, user_field));
    fillSecret(passcode_field, letters);
    submit();
  }
  expectEnrolled("eva");
}

TEST_F(EnrolTest, ShortAnswerIsRefusedAndWhatWasTypedStays) {
  signInAt(server.http());
  submitUser("ines");
  answerAll({"fido", "ab"});
  answer("Answer to secret questions must be at least 3 characters long.", "OK");
  EXPECT_EQ(textIn("Answer 1"), "fido");
  fill("Answer 2", "blue");
  submit();
  expectEnrolled("ines");
}

TEST_F(EnrolTest, ThreeQuestionsAnsweredEarlierWithA13CharacterSeedOf60Seconds) {
  signInAt(server.http());
  submitUser("jan");
  ASSERT_TRUE(comesToShow(Role::text, "Answer 3"));
  EXPECT_EQ(textIn("Answer 1"), "Rex");
  EXPECT_EQ(textIn("Answer 2"), "blue");
  fill("Answer 3", "school");
  submit();
  expectEnrolled("jan");
}

TEST_F(EnrolTest, PinAndThreeQuestions) {
  signInAt(server.http());
  submitUser("kim");
  ASSERT_TRUE(comesToSay("Please choose an 8-character PIN."));
  screen().type("19283746");
  fillSecret("Type the PIN again", "19283746");
  answerAll({"fido", "blue", "school"});
  expectEnrolled("kim");
}

TEST_F(EnrolTest, HttpsWithACertificateThatIsTrusted) {
  more_environment_ = {"SSL_CERT_FILE=" + server.certificate()};
  signInAt(server.https());
  submitUser("anna");
  expectEnrolled("anna");
}

TEST_F(EnrolTest, HttpsWithACertificateThatIsNotTrustedLeadsToTheAddress) {
  setSettings("AllowTaEnrol=yes\nEnrolURL=" + server.https() + '\n');
  start();
  openPanel();
  clickButton("Add");
  EXPECT_TRUE(comesToSay("Error: [http] SSL certificate problem"));
  EXPECT_EQ(storedNames(), Strings());
}

TEST_F(EnrolTest, ServerThatDemandsHttpsIsAskedThereAgain) {
  more_environment_ = {"SSL_CERT_FILE=" + server.certificate()};
  signInAt(server.http() + "/https");
  submitUser("anna");
  expectEnrolled("anna");
}

TEST_F(EnrolTest, AddressIsCorrectedAndTheUserGoesOn) {
  setSettings("AllowHTTP=yes\nEnrolURL=http://127.0.0.1:9\n");
  start();
  openPanel();
  clickButton("Add");
  const std::string address = "Please enter the URL of your company's Talvane server taenrol page";
  ASSERT_TRUE(focusComesTo(address)) << focus();
  EXPECT_TRUE(comesToSay("Error: [http] "));
  fill(address, server.http());
  submit();
  ASSERT_TRUE(focusComesTo(user_field));
  submitUser("anna");
  expectEnrolled("anna");
}

}  // namespace
}  // namespace talvane::test
