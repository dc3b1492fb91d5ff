#include "enrol/enrol_layout.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "engine/vane.h"
#include "tests/support/gateway_test.h"
#include "tests/support/memory_user_defaults.h"

namespace talvane::test {
namespace {

using Lines = std::vector<std::string>;
using Questions = TaEnrolClient::Questions;
using Mode = AuthenticationLayout::Mode;
using Focus = AuthenticationLayout::Field;
using Place = std::optional<int>;

class EnrolLayoutTest : public GatewayTest {
 protected:
  EnrolLayoutTest() { gateway.lines.clear(); }

  AuthenticationLayout layout(bool userid_is_empty = true, const std::string& message = "") {
    gateway.lines.clear();
    return authenticationLayout(ini, &client, false, message, userid_is_empty);
  }

  void ask(bool pin, bool questions, bool three = false) {
    client.bUSERCREATEPIN = pin;
    client.bENROL = questions;
    client.QUESTIONS3.reset();
    if (three) client.QUESTIONS3 = Questions{"a"};
  }

  std::size_t distinct(const std::vector<Questions>& lists,
                       const std::vector<std::size_t>& selected, std::size_t sender) {
    gateway.lines.clear();
    return distinctQuestion(lists, selected, sender);
  }

  MemoryUserDefaults defaults;
  Ini ini{defaults, SettingsFolders{"/nowhere", "/nowhere", "/nowhere"}};
  TaEnrolClient client;
};

// The sign-in view.

TEST_F(EnrolLayoutTest, BusyShowsNoFieldAndAsksToWait) {
  client.bChallenge = true;
  for (const TaEnrolClient* session : {&client, static_cast<TaEnrolClient*>(nullptr)}) {
    const auto busy = authenticationLayout(ini, session, true, "", true);
    EXPECT_EQ(busy.mode, Mode::busy);
    EXPECT_FALSE(busy.shows_userid || busy.shows_password || busy.shows_passcode);
    EXPECT_EQ(busy.focus, Focus::none);
    EXPECT_EQ(busy.message, "Please wait...");
    EXPECT_FALSE(busy.message_is_error);
  }
}

TEST_F(EnrolLayoutTest, MessageThatIsThereIsAnError) {
  ini.StrEnrolPrompt = "Sign in";
  EXPECT_EQ(layout().message, "Sign in");
  EXPECT_FALSE(layout().message_is_error);
  EXPECT_EQ(layout(true, "No").message, "No");
  EXPECT_TRUE(layout(true, "No").message_is_error);
  EXPECT_EQ(authenticationLayout(ini, &client, true, "No", true).message, "No");
}

TEST_F(EnrolLayoutTest, ChallengeShowsThePasscodeInTheFirstRow) {
  client.bChallenge = client.bPASSWORD = true;
  client.bPASSCODE = true;
  client.PROMPT = "Next code";
  const auto challenge = layout(false);
  EXPECT_EQ(gateway.lines, Lines{"EVA: layout: challenge mode"});
  EXPECT_EQ(challenge.mode, Mode::challenge);
  EXPECT_FALSE(challenge.shows_userid || challenge.shows_password);
  EXPECT_TRUE(challenge.shows_passcode);
  EXPECT_EQ(challenge.passcode_row, 0);
  EXPECT_EQ(challenge.focus, Focus::passcode);
  EXPECT_EQ(challenge.message, "Next code");
  client.bPASSCODE = false;
  EXPECT_FALSE(layout().shows_passcode);
  EXPECT_EQ(layout(false).focus, Focus::submit);
}

TEST_F(EnrolLayoutTest, AllFields) {
  client.bPASSWORD = true;
  const auto all = layout();
  EXPECT_EQ(gateway.lines, Lines{"EVA: layout: all fields mode"});
  EXPECT_EQ(all.mode, Mode::all_fields);
  EXPECT_TRUE(all.shows_userid && all.shows_password && all.shows_passcode);
  EXPECT_EQ(all.passcode_row, 2);
  EXPECT_EQ(all.focus, Focus::userid);
  EXPECT_EQ(layout(false).focus, Focus::password);
}

TEST_F(EnrolLayoutTest, NoPassword) {
  const auto none = layout();
  EXPECT_EQ(gateway.lines, Lines{"EVA: layout: no password mode"});
  EXPECT_EQ(none.mode, Mode::no_password);
  EXPECT_TRUE(none.shows_userid && none.shows_passcode);
  EXPECT_FALSE(none.shows_password);
  EXPECT_EQ(none.passcode_row, 1);
  EXPECT_EQ(none.focus, Focus::userid);
  EXPECT_EQ(layout(false).focus, Focus::passcode);
}

TEST_F(EnrolLayoutTest, Version7200WithoutAPasscodeHidesIt) {
  for (const auto& [version, passcode, shown] : std::vector<std::tuple<int, bool, bool>>{
           {7200, false, false}, {7200, true, true}, {7201, false, true}, {0, false, true}}) {
    client.VERSION = version;
    client.bPASSCODE = passcode;
    for (const bool password : {true, false}) {
      client.bPASSWORD = password;
      EXPECT_EQ(layout().shows_passcode, shown) << version;
      EXPECT_EQ(layout().shows_password, password);
      EXPECT_TRUE(layout().shows_userid);
      const Focus next = password ? Focus::password : shown ? Focus::passcode : Focus::userid;
      EXPECT_EQ(layout(false).focus, next) << version;
    }
  }
}

// The get-info view.

TEST_F(EnrolLayoutTest, HeightsAndStates) {
  const std::vector<std::tuple<bool, bool, bool, int, std::string>> cases{
      {true, true, true, 460, "showing PIN and ENROL"},
      {true, true, false, 380, "showing PIN and ENROL"},
      {false, true, true, 320, "showing QUESTIONS only"},
      {false, true, false, 270, "showing QUESTIONS only"},
      {true, false, true, 270, "showing PIN only"},
      {true, false, false, 270, "showing PIN only"},
      {false, false, true, 500, ""},
      {false, false, false, 500, ""}};
  for (const auto& [pin, questions, three, height, name] : cases) {
    ask(pin, questions, three);
    EXPECT_EQ(getInfoHeight(client), height);
    EXPECT_EQ(nameOf(getInfoState(client)), name);
  }
}

TEST_F(EnrolLayoutTest, PlacesWithPinAndQuestions) {
  ask(true, true, true);
  const GetInfoPlaces places = getInfoPlaces(client, 1000);
  EXPECT_EQ(places.pin_label, 940);  // 1000 - 40 - 20
  EXPECT_EQ(places.pin, 870);
  // Between the PIN, whose lower edge is at 870, and the questions' label, whose upper edge is 840.
  EXPECT_EQ(places.pin_again, 844);
  EXPECT_EQ(places.question_label, 820);
  EXPECT_EQ(places.questions, (std::array<Place, 3>{780, 710, 640}));
  EXPECT_EQ(places.answers, (std::array<Place, 3>{750, 680, 610}));
  client.LOWERCASE = 1;
  EXPECT_EQ(getInfoPlaces(client, 1000).pin_label, 900);  // 1000 - 40 - 60
  ask(true, true);
  EXPECT_EQ(getInfoPlaces(client, 1000).questions, (std::array<Place, 3>{780, 710, std::nullopt}));
  EXPECT_EQ(getInfoPlaces(client, 1000).answers, (std::array<Place, 3>{750, 680, std::nullopt}));
}

TEST_F(EnrolLayoutTest, PlacesWithAPinAlone) {
  ask(true, false, true);
  const GetInfoPlaces places = getInfoPlaces(client, 270);
  EXPECT_EQ(places.pin_label, 210);
  EXPECT_EQ(places.pin, 140);
  EXPECT_EQ(places.pin_again, 114);
  EXPECT_EQ(places.question_label, std::nullopt);
  EXPECT_EQ(places.questions, (std::array<Place, 3>{}));
  EXPECT_EQ(places.answers, (std::array<Place, 3>{}));
}

TEST_F(EnrolLayoutTest, PlacesWithQuestionsAlone) {
  ask(false, true, true);
  const GetInfoPlaces places = getInfoPlaces(client, 320);
  EXPECT_EQ(places.pin_label, std::nullopt);
  EXPECT_EQ(places.pin, std::nullopt);
  EXPECT_EQ(places.pin_again, std::nullopt);
  EXPECT_EQ(places.question_label, 260);
  EXPECT_EQ(places.questions, (std::array<Place, 3>{220, 150, 80}));
  EXPECT_EQ(places.answers, (std::array<Place, 3>{190, 120, 50}));
}

TEST_F(EnrolLayoutTest, NothingAskedHasNoPlaces) {
  ask(false, false, true);
  const GetInfoPlaces places = getInfoPlaces(client, 500);
  EXPECT_FALSE(places.pin || places.pin_label || places.question_label || places.questions[0]);
}

TEST_F(EnrolLayoutTest, PromptHasItsArticle) {
  for (const auto& [length, words] : std::vector<std::pair<int, std::string>>{
           {8, "an 8"}, {6, "a 6"}, {11, "a 11"}, {18, "a 18"}, {80, "a 80"}, {0, "a 0"}}) {
    client.PINLENGTH = length;
    EXPECT_EQ(pinPrompt(client), "Please choose " + words + "-character PIN. ");
    EXPECT_EQ(pinPromptHeight(client), 20);
  }
}

TEST_F(EnrolLayoutTest, PromptNamesBothCountsWhenThereIsACaseRule) {
  client.PINLENGTH = 6;
  for (const auto& [upper, lower] : std::vector<std::pair<int, int>>{{1, 0}, {0, 1}, {2, 3}}) {
    client.UPPERCASE = upper;
    client.LOWERCASE = lower;
    EXPECT_EQ(pinPrompt(client), "Please choose a 6-character PIN.  (Must contain at least " +
                                     std::to_string(upper) + " uppercase and at least " +
                                     std::to_string(lower) + " lowercase characters).");
    EXPECT_EQ(pinPromptHeight(client), 60);
  }
}

// Questions.

TEST_F(EnrolLayoutTest, EarlierAnswersAreShownToNewServersUsersOnly) {
  client.bENROL = true;
  client.VERSION = 7200;
  client.QUESTION1 = client.QUESTION2 = "q";
  EXPECT_TRUE(hasEarlierAnswers(client));
  client.VERSION = 7300;
  EXPECT_TRUE(hasEarlierAnswers(client));
  client.VERSION = 7199;
  EXPECT_FALSE(hasEarlierAnswers(client));
  client.VERSION = 7200;
  client.QUESTION2 = "";
  EXPECT_FALSE(hasEarlierAnswers(client));
  client.QUESTION2 = "q";
  client.QUESTION1 = "";
  EXPECT_FALSE(hasEarlierAnswers(client));
  client.QUESTION1 = "q";
  client.bENROL = false;
  EXPECT_FALSE(hasEarlierAnswers(client));
}

TEST_F(EnrolLayoutTest, TwoDistinctQuestionsStay) {
  const std::vector<Questions> lists{{"a", "b"}, {"a", "b"}};
  EXPECT_EQ(distinct(lists, {0, 1}, 1), 1U);
  EXPECT_EQ(gateway.lines, Lines{"EVGI: questionselected: no clash (2)"});
}

TEST_F(EnrolLayoutTest, TwoEqualQuestionsPartBySender) {
  const std::vector<Questions> lists{{"a", "b", "c"}, {"a", "b", "c"}};
  for (const std::size_t sender : {0U, 1U}) {
    EXPECT_EQ(distinct(lists, {0, 0}, sender), 1U);
    EXPECT_EQ(gateway.lines, Lines{"EVGI: questionselected: nugding up"});
    EXPECT_EQ(distinct(lists, {1, 1}, sender), 0U);
    EXPECT_EQ(gateway.lines, Lines{"EVGI: questionselected: nugding down"});
    EXPECT_EQ(distinct(lists, {2, 2}, sender), 1U);
  }
}

TEST_F(EnrolLayoutTest, ThreeQuestionsGoToTheFirstThatIsFree) {
  const std::vector<Questions> lists(3, {"a", "b", "c", "d"});
  EXPECT_EQ(distinct(lists, {0, 1, 0}, 2), 2U);
  EXPECT_EQ(gateway.lines, (Lines{"EVGI: questionselected: tag: 3", "EVGI: questionselected: ok"}));
  EXPECT_EQ(distinct(lists, {3, 3, 0}, 1), 1U);
  EXPECT_EQ(gateway.lines.front(), "EVGI: questionselected: tag: 2");
  EXPECT_EQ(distinct(lists, {2, 1, 2}, 0), 0U);
  EXPECT_EQ(gateway.lines.front(), "EVGI: questionselected: tag: 1");
}

TEST_F(EnrolLayoutTest, ThreeDistinctQuestionsStay) {
  const std::vector<Questions> lists(3, {"a", "b", "c"});
  EXPECT_EQ(distinct(lists, {0, 1, 2}, 2), 2U);
  EXPECT_EQ(gateway.lines,
            (Lines{"EVGI: questionselected: tag: 3", "EVGI: questionselected: no clash (3)"}));
  EXPECT_EQ(distinct({{"a"}, {"a"}, {"b"}}, {0, 0, 0}, 2), 0U) << "the others may clash";
}

TEST_F(EnrolLayoutTest, ThreeQuestionsWithNoneFreeStay) {
  EXPECT_EQ(distinct(std::vector<Questions>(3, {"a", "b"}), {0, 1, 1}, 2), 1U);
  EXPECT_EQ(gateway.lines, Lines{"EVGI: questionselected: tag: 3"});
}

TEST_F(EnrolLayoutTest, TitlesCountNotPlaces) {
  EXPECT_EQ(distinct({{"a", "b"}, {"b", "a"}}, {0, 1}, 1), 0U);
  EXPECT_EQ(distinct({{"x", "x", "y"}, {"x"}}, {2, 0}, 0), 2U);
}

TEST_F(EnrolLayoutTest, ListsThatAreTooShort) {
  EXPECT_EQ(distinct({{"a"}, {"a"}}, {0, 0}, 1), 0U);
  EXPECT_EQ(distinct({{}, {}}, {0, 0}, 0), 0U);
  EXPECT_EQ(distinct({{}, {"a"}, {}}, {0, 0, 0}, 2), 0U);
}

}  // namespace
}  // namespace talvane::test
