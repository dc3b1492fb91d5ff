// The enrolment views: what each shows, and where.

#include <QComboBox>
#include <array>
#include <optional>
#include <utility>

#include "enrol/enrol_layout.h"
#include "tests/ui/app_test.h"
#include "ui/kit/hover_text.h"

namespace talvane {
namespace {

using test::Lines;

constexpr const char* token_line =
    "INPUT:SOFTTOKENURL=otpauth://totp/Work?secret=GEZDGNBVGY3TQOJQ&period=30\r\n";
constexpr const char* two_lists =
    "INPUT:ENROL=True\r\nQUESTIONS1:Pet,Street,Song\r\nQUESTIONS2:Pet,Street,Song\r\n";
constexpr const char* third_list = "QUESTIONS3:Pet,Street,Song\r\n";
constexpr const char* pin_lines = "INPUT:USERCREATEPIN=True\r\nPINLENGTH:4\r\n";

class EnrolmentTest : public AppTest {
 protected:
  EnrolmentTest() { setSettings("AllowManual=1\nEnrolURL=https://srv\n"); }

  /// Opens the sign-in view, and lets the server answer so.
  void signIn(const std::string& reply) {
    network.answer(reply);
    show("eva");
    ASSERT_TRUE(QTest::qWaitFor([this] { return message() != "Please wait..."; }));
  }
  /// Submits a user name, which the server answers so.
  void submit(const std::string& reply) {
    if (find<QLineEdit>("eva_userid")->isVisible()) type("eva_userid", "ada");
    network.answer(reply);
    click("eva_submit");
  }
  /// Up to the view that asks for a PIN or answers.
  void askFor(const std::string& lines) {
    signIn("RESULT:OK\r\nVERSION:7200\r\n");
    submit("RESULT:OK,GETINFO\r\n" + lines + token_line);
    ASSERT_EQ(openView(), "evgi");
  }

  /// Both times.
  void typePin(const std::string& pin) {
    type("evgi_pin", pin);
    type("evgi_pinagain", pin);
  }
  /// What stands in the empty field for the second time.
  static std::string pinHint() {
    return find<QLineEdit>("evgi_pinagain")->placeholderText().toStdString();
  }

  std::string message() { return find<QLabel>("eva_message")->text().toStdString(); }
  static Frame place(const std::string& name) { return frameOf(find<QWidget>(name)->geometry()); }
  static bool shows(const std::string& name) { return find<QWidget>(name)->isVisible(); }
  /// The rows of the sign-in view that show.
  Lines signInRows() {
    Lines rows;
    for (const char* name : {"userid", "password", "passcode"}) {
      const std::string field = std::string("eva_") + name;
      EXPECT_EQ(shows(field), shows(field + "label")) << name;
      if (shows(field)) rows.emplace_back(name);
    }
    return rows;
  }
  /// Picks the item as a user does.
  void pick(int menu, int item) {
    auto* box = find<QComboBox>("evgi_question" + std::to_string(menu));
    box->setCurrentIndex(item);
    emit box->activated(item);
  }
  std::vector<int> picked(int menus) {
    std::vector<int> items;
    for (int menu = 1; menu <= menus; ++menu) {
      items.push_back(find<QComboBox>("evgi_question" + std::to_string(menu))->currentIndex());
    }
    return items;
  }

  /// Shown in its place; `y` is of its lower edge, from the panel's lower edge; nullopt: not shown.
  static void expectPlace(const std::string& name, const std::optional<int>& y, int height = 20) {
    EXPECT_EQ(shows(name), y.has_value()) << name;
    if (!y) return;
    EXPECT_EQ(place(name), flipped({10, *y, 240, height}, panel()->height())) << name;
  }
  /// What the layout says of a reply with these lines.
  void expectLaidOut(const std::string& lines) {
    askFor(lines);
    TaEnrolClient client;
    client.processEnrolResponse(("RESULT:OK,GETINFO\r\n" + lines + token_line).c_str(),
                                TaEnrolClient::post_parser);
    EXPECT_EQ(panel()->height(), getInfoHeight(client)) << lines;
    const GetInfoPlaces places = getInfoPlaces(client, panel()->height());
    expectPlace("evgi_pinlabel", places.pin_label, pinPromptHeight(client));
    expectPlace("evgi_pin", places.pin);
    expectPlace("evgi_pinagain", places.pin_again);
    expectPlace("evgi_questionlabel", places.question_label);
    for (std::size_t i = 0; i < places.questions.size(); ++i) {
      expectPlace("evgi_question" + std::to_string(i + 1), places.questions[i]);
      expectPlace("evgi_answer" + std::to_string(i + 1), places.answers[i]);
    }
    if (places.pin) {
      EXPECT_EQ(textOf("evgi_pinlabel"), pinPrompt(client));
    }
    EXPECT_EQ(traced({"EVGI: init: showing"}),
              Lines{std::string("EVGI: init: ") + nameOf(getInfoState(client))});
  }
};

// The sign-in view.

TEST_F(EnrolmentTest, BusyNothingCanBeTypedAndTheMessageAsksToWait) {
  show("eva");
  EXPECT_EQ(message(), "Please wait...");
  EXPECT_EQ(colourOf("eva_message"), QColor(Qt::white));
  EXPECT_EQ(signInRows(), Lines());
  for (const char* name : {"eva_userid", "eva_password", "eva_passcode"}) {
    EXPECT_FALSE(find<QLineEdit>(name)->isEnabled()) << name;
    EXPECT_EQ(colourOf(name + std::string("label")), QColor(Qt::darkGray)) << name;
  }
  EXPECT_FALSE(button("eva_submit")->isEnabled());
}

TEST_F(EnrolmentTest, AllFieldsHaveThePasscode32PointsBelowThePassword) {
  signIn("RESULT:OK\r\nVERSION:7100\r\nPASSWORD:True\r\n");
  EXPECT_EQ(signInRows(), (Lines{"userid", "password", "passcode"}));
  for (const char* suffix : {"", "label"}) {
    Frame expected = place(std::string("eva_password") + suffix);
    expected.y += 32;
    EXPECT_EQ(place(std::string("eva_passcode") + suffix), expected);
  }
  EXPECT_EQ(find<QLabel>("eva_useridlabel")->text(), QStringLiteral("Username"));
  EXPECT_EQ(find<QLabel>("eva_passwordlabel")->text(), QStringLiteral("Microsoft Password"));
  EXPECT_EQ(find<QLabel>("eva_passcodelabel")->text(), QStringLiteral("Passcode"));
  for (const char* name : {"eva_useridlabel", "eva_passwordlabel", "eva_passcodelabel"}) {
    EXPECT_EQ(colourOf(name), QColor(Qt::white)) << name;
  }
  EXPECT_TRUE(find<QLineEdit>("eva_userid")->hasFocus());
  EXPECT_FALSE(button("eva_submit")->isEnabled());
  type("eva_userid", "ada");
  EXPECT_FALSE(button("eva_submit")->isEnabled());
  type("eva_password", "p");
  EXPECT_TRUE(button("eva_submit")->isEnabled());
}

TEST_F(EnrolmentTest, WithoutAPasswordThePasscodeTakesItsRow) {
  signIn("RESULT:OK\r\nVERSION:7100\r\nPASSWORD:True\r\n");
  const Frame field = place("eva_password");
  const Frame label = place("eva_passwordlabel");
  signIn("RESULT:OK\r\nVERSION:7100\r\n");
  EXPECT_EQ(signInRows(), (Lines{"userid", "passcode"}));
  EXPECT_EQ(place("eva_passcode"), field);
  EXPECT_EQ(place("eva_passcodelabel"), label);
}

TEST_F(EnrolmentTest, Version7200WithoutPasswordAndPasscodeShowsTheUserNameAlone) {
  signIn("RESULT:OK\r\nVERSION:7200\r\n");
  EXPECT_EQ(signInRows(), Lines{"userid"});
}

TEST_F(EnrolmentTest, Version7200WithAPasswordShowsNoPasscode) {
  signIn("RESULT:OK\r\nVERSION:7200\r\nPASSWORD:True\r\n");
  EXPECT_EQ(signInRows(), (Lines{"userid", "password"}));
}

TEST_F(EnrolmentTest, ChallengeIsAnsweredInTheFirstRow) {
  signIn("RESULT:OK\r\nVERSION:7100\r\nPASSWORD:True\r\n");
  const Frame field = place("eva_userid");
  const Frame label = place("eva_useridlabel");
  type("eva_password", "p");
  submit("RESULT:OK,CHALLENGE\r\nPASSCODE:True\r\nPROMPT:The letters ABCD?\r\nINPUT:STATE=1\r\n");
  EXPECT_EQ(signInRows(), Lines{"passcode"});
  EXPECT_EQ(place("eva_passcode"), field);
  EXPECT_EQ(place("eva_passcodelabel"), label);
  EXPECT_EQ(message(), "The letters ABCD?");
  EXPECT_EQ(colourOf("eva_message"), QColor(Qt::white));
  EXPECT_TRUE(find<QLineEdit>("eva_passcode")->hasFocus());
  EXPECT_FALSE(button("eva_submit")->isEnabled());
  type("eva_passcode", "ABCD");
  EXPECT_TRUE(button("eva_submit")->isEnabled());
}

TEST_F(EnrolmentTest, ChallengeWithoutAPasscodeShowsNoField) {
  signIn("RESULT:OK\r\nVERSION:7200\r\n");
  submit("RESULT:OK,CHALLENGE\r\nPASSCODE:False\r\nPROMPT:Press OK\r\nINPUT:STATE=1\r\n");
  EXPECT_EQ(signInRows(), Lines());
  EXPECT_TRUE(button("eva_submit")->isEnabled());
}

TEST_F(EnrolmentTest, ReturnNeverLeavesTheSignInWhereThePasscodeIsHidden) {
  signIn("RESULT:OK\r\nVERSION:7200\r\n");
  submit("RESULT:OK,DENIED\r\n");
  ASSERT_EQ(signInRows(), Lines{"userid"});
  EXPECT_TRUE(find<QLineEdit>("eva_userid")->hasFocus());
  submit("RESULT:OK,CHALLENGE\r\nPASSCODE:False\r\nPROMPT:Press OK\r\nINPUT:STATE=1\r\n");
  EXPECT_TRUE(button("eva_submit")->hasFocus());
  network.answer("RESULT:OK,DENIED\r\nMESSAGE:Not you\r\n");
  QTest::keyClick(panel()->focusWidget(), Qt::Key_Return);
  turnEventLoop();
  EXPECT_EQ(openView(), "eva");
  EXPECT_EQ(message(), "Not you");
}

TEST_F(EnrolmentTest, RefusalStandsInRedInPlaceOfThePrompt) {
  signIn("RESULT:OK\r\nVERSION:7200\r\n");
  EXPECT_EQ(message(), "Please enter the following:");
  submit("RESULT:OK,DENIED\r\nMESSAGE:Your account is locked\r\n");
  EXPECT_EQ(message(), "Your account is locked");
  EXPECT_GT(colourOf("eva_message").red(), 240);
  EXPECT_LT(colourOf("eva_message").green(), 160);
  EXPECT_LT(colourOf("eva_message").blue(), 160);
  EXPECT_EQ(openView(), "eva");
  EXPECT_EQ(alerts.texts(), Lines());
}

TEST_F(EnrolmentTest, SignInFormMakesRoomForItsWidestLabel) {
  const std::pair<std::string, std::string> rows[] = {
      {"", "Microsoft Password"},
      {"StrUsername=The name of your account\n", "The name of your account"},
      {"StrPassword=p\nStrPasscode=code\nStrUsername=u\n", "code"}};
  for (const auto& [settings, widest] : rows) {
    setSettings("AllowManual=1\nEnrolURL=https://srv\n" + settings);
    launch();
    show("eva");
    const QFontMetrics metrics(find<QLabel>("eva_useridlabel")->font());
    const int width = metrics.horizontalAdvance(QString::fromStdString(widest));
    const int y[] = {102, 134, 166};
    const char* labels[] = {"eva_useridlabel", "eva_passwordlabel", "eva_passcodelabel"};
    const char* entries[] = {"eva_userid", "eva_password", "eva_passcode"};
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(frameOf(find<QLabel>(labels[i])->geometry()), (Frame{10, y[i], width + 17, 22}));
      EXPECT_EQ(frameOf(find<QLineEdit>(entries[i])->geometry()),
                (Frame{width + 34, y[i], 260 - 51 - width, 22}));
    }
  }
}

// The view that asks for a PIN and answers.

TEST_F(EnrolmentTest, WhatIsAskedStandsWhereItShould) {
  const std::string pin_with_rules = "INPUT:USERCREATEPIN=True\r\nPINLENGTH:8\r\nUPPERCASE:1\r\n";
  for (const std::string& pin : {std::string(), std::string(pin_lines), pin_with_rules}) {
    for (const std::string& questions :
         {std::string(), std::string(two_lists), std::string(two_lists) + third_list}) {
      if (!pin.empty() || !questions.empty()) expectLaidOut(pin + questions);
      clearTrace();
    }
  }
}

TEST_F(EnrolmentTest, PinAndThreeQuestionsAreTraced) {
  askFor(std::string(pin_lines) + two_lists + third_list);
  EXPECT_EQ(
      traced({"EVGI: "}),
      (Lines{"EVGI: init: begin", "EVGI: init: height:460", "EVGI: init: showing PIN and ENROL",
             "EVGI: init: 3 questions", "EVGI: checkpin:  returning NO", "EVGI: init: end"}));
}

TEST_F(EnrolmentTest, QuestionsBeginOnDifferentItems) {
  askFor(std::string(two_lists) + third_list);
  EXPECT_EQ(picked(3), (std::vector{0, 1, 2}));
  EXPECT_EQ(textOf("evgi_questionlabel"), "Secret Questions");
}

TEST_F(EnrolmentTest, FirstFieldHasTheFocus) {
  askFor(std::string(pin_lines) + two_lists);
  EXPECT_TRUE(find<QLineEdit>("evgi_pin")->hasFocus());
  askFor(two_lists);
  EXPECT_TRUE(find<QLineEdit>("evgi_answer1")->hasFocus());
}

TEST_F(EnrolmentTest, NothingToAskIsTracedAndThePanelIs500High) {
  askFor(std::string(pin_lines) + two_lists);
  const Frame before = place("evgi_pin");
  askFor("INPUT:GETMBNUMBER=True\r\n");
  EXPECT_EQ(panel()->height(), 500);
  EXPECT_EQ(place("evgi_pin"), before);
  EXPECT_TRUE(shows("evgi_pin"));
  EXPECT_TRUE(shows("evgi_question1"));
  EXPECT_FALSE(shows("evgi_question3"));
  EXPECT_EQ(traced({"EVGI: unexpected"}),
            Lines{"EVGI: unexpected state: bUSERCREATEPIN and bENROL false"});
}

TEST_F(EnrolmentTest, SubmitIsEnabledWhileThePinIsGood) {
  askFor(pin_lines);
  EXPECT_FALSE(button("evgi_submit")->isEnabled());
  type("evgi_pin", "135");
  EXPECT_FALSE(button("evgi_submit")->isEnabled());
  type("evgi_pin", "1357");
  EXPECT_TRUE(button("evgi_submit")->isEnabled());
}

TEST_F(EnrolmentTest, WhatThePinLacksIsSaidWhileItIsTyped) {
  askFor("INPUT:USERCREATEPIN=True\r\nPINLENGTH:4\r\nUPPERCASE:1\r\n");
  EXPECT_EQ(pinHint(), "Type the PIN again");
  const std::pair<const char*, const char*> rows[] = {{"135", "1 more character"},
                                                      {"1357", "At least 1 uppercase letter"},
                                                      {"A1357", "Too long"},
                                                      {"ABCD", "Too weak: a rising sequence"},
                                                      {"A135", "Type the PIN again"}};
  for (const auto& [pin, words] : rows) {
    type("evgi_pin", pin);
    EXPECT_EQ(pinHint(), words) << pin;
  }
  askFor(pin_lines);
  EXPECT_EQ(pinHint(), "Type the PIN again") << "of another session";
}

TEST_F(EnrolmentTest, PinThatIsChangedIsTypedAgain) {
  askFor(pin_lines);
  typePin("1357");
  QTest::keyClick(find<QLineEdit>("evgi_pin"), Qt::Key_Backspace);
  EXPECT_EQ(find<QLineEdit>("evgi_pinagain")->text(), QString());
  EXPECT_EQ(pinHint(), "1 more character");
}

TEST_F(EnrolmentTest, PinIsSentOnlyWhenItWasTypedTwiceAlike) {
  askFor(pin_lines);
  const std::size_t before = network.requests().size();
  for (const char* again : {"", "1358"}) {
    type("evgi_pin", "1357");
    type("evgi_pinagain", again);
    click("evgi_submit");
    EXPECT_EQ(openView(), "evgi") << again;
    EXPECT_EQ(find<QLineEdit>("evgi_pinagain")->text(), QString()) << again;
    EXPECT_TRUE(find<QLineEdit>("evgi_pinagain")->hasFocus()) << again;
    EXPECT_EQ(find<QLineEdit>("evgi_pin")->text(), QStringLiteral("1357")) << again;
  }
  EXPECT_EQ(alerts.texts(), Lines(2, "The PINs do not match; type the PIN again"));
  EXPECT_EQ(network.requests().size(), before);
}

TEST_F(EnrolmentTest, WeakPinIsTypedAnew) {
  askFor(pin_lines);
  type("evgi_pin", "1234");
  click("evgi_submit");
  EXPECT_EQ(alerts.texts(), Lines{"Pin must not be a raising sequence, this is too weak"});
  EXPECT_TRUE(find<QLineEdit>("evgi_pin")->hasFocus());
}

TEST_F(EnrolmentTest, ReturnGoesThroughTheEmptyFieldsAndSubmits) {
  askFor(std::string(pin_lines) + two_lists);
  network.answer("RESULT:OK,COMPLETE");
  for (const char* text : {"1357", "1357", "Rex"}) {
    QTest::keyClicks(panel()->focusWidget(), QLatin1String(text));
    QTest::keyClick(panel()->focusWidget(), Qt::Key_Return);
    turnEventLoop();
    ASSERT_EQ(openView(), "evgi") << text;
  }
  EXPECT_TRUE(find<QLineEdit>("evgi_answer2")->hasFocus());
  QTest::keyClicks(panel()->focusWidget(), QStringLiteral("blue"));
  QTest::keyClick(panel()->focusWidget(), Qt::Key_Return);
  turnEventLoop();
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(storedNames(), Lines{"Work"});
}

TEST_F(EnrolmentTest, ReturnGoesBackToWhatSubmitNeeds) {
  signIn("RESULT:OK\r\nVERSION:7100\r\nPASSWORD:True\r\n");
  type("eva_password", "p");
  type("eva_passcode", "1");
  find<QLineEdit>("eva_passcode")->setFocus();
  QTest::keyClick(find<QLineEdit>("eva_passcode"), Qt::Key_Return);
  EXPECT_TRUE(find<QLineEdit>("eva_userid")->hasFocus());
}

TEST_F(EnrolmentTest, EarlierAnswersAreFilledIn) {
  askFor(std::string(two_lists) + third_list +
         "QUESTION1:Song\r\nANSWER1:Yes\r\nQUESTION2:Pet\r\nANSWER2:Rex\r\nQUESTION3:Gone\r\n"
         "ANSWER3:Lost\r\n");
  EXPECT_EQ(picked(3), (std::vector{2, 0, 2}));
  EXPECT_EQ(find<QLineEdit>("evgi_answer1")->text(), QStringLiteral("Yes"));
  EXPECT_EQ(find<QLineEdit>("evgi_answer2")->text(), QStringLiteral("Rex"));
  EXPECT_EQ(find<QLineEdit>("evgi_answer3")->text(), QString());
}

TEST_F(EnrolmentTest, SecondOfTwoMovesToItem1WhenBothAreOnItem0) {
  askFor(two_lists);
  clearTrace();
  pick(2, 0);
  EXPECT_EQ(picked(2), (std::vector{0, 1}));
  EXPECT_EQ(traced({"EVGI: "}),
            (Lines{"EVGI: questionselected: begin: Pet", "EVGI: questionselected: nugding up",
                   "EVGI: questionselected: end"}));
}

TEST_F(EnrolmentTest, FirstOfTwoMovesOneLowerOffAClash) {
  askFor(two_lists);
  clearTrace();
  pick(1, 1);
  EXPECT_EQ(picked(2), (std::vector{0, 1}));
  EXPECT_EQ(traced({"EVGI: questionselected: n"}), Lines{"EVGI: questionselected: nugding down"});
}

TEST_F(EnrolmentTest, ThirdMovesToTheFirstQuestionThatNoOtherShows) {
  askFor(std::string(two_lists) + third_list);
  clearTrace();
  pick(3, 0);
  EXPECT_EQ(picked(3), (std::vector{0, 1, 2}));
  EXPECT_EQ(traced({"EVGI: "}),
            (Lines{"EVGI: questionselected: begin: Pet", "EVGI: questionselected: tag: 3",
                   "EVGI: questionselected: ok", "EVGI: questionselected: end"}));
}

TEST_F(EnrolmentTest, PinThatWasRefusedDoesNotKeepLaterAnswersFromBeingSent) {
  askFor(pin_lines);
  ASSERT_FALSE(button("evgi_submit")->isEnabled());
  click("evgi_cancel");
  askFor(two_lists);
  EXPECT_TRUE(button("evgi_submit")->isEnabled());
}

TEST_F(EnrolmentTest, SeedThatCannotBeUsedIsTold) {
  signIn("RESULT:OK\r\nVERSION:7200\r\n");
  submit("RESULT:OK,GETINFO\r\nINPUT:SOFTTOKENURL=otpauth://totp/Work?secret=TOOSHORT\r\n");
  EXPECT_EQ(openView(), "eva");
  EXPECT_EQ(message(), "ERR NewToken failed");
  EXPECT_FALSE(button("eva_submit")->isEnabled());
  click("eva_cancel");
  EXPECT_EQ(openView(), "av");
}

TEST_F(EnrolmentTest, LongWordsOfTheServerAreShownInPart) {
  signIn("RESULT:OK\r\nVERSION:7200\r\n");
  std::string words;
  while (words.size() < 1000000) words += "No access. ";
  submit("RESULT:OK,DENIED\r\nMESSAGE:" + words);
  EXPECT_EQ(message(), words.substr(0, 2000) + "\u2026");
  EXPECT_FALSE(hoverText(*find<QLabel>("eva_message")).isEmpty());
}

TEST_F(EnrolmentTest, QuestionsWithoutEndAreOfferedInPart) {
  std::string list = "INPUT:ENROL=True\r\nQUESTIONS1:";
  for (int i = 0; i < 20000; ++i) list += "q" + std::to_string(i) + ",";
  askFor(list + "\r\nQUESTIONS2:Pet,Song\r\n");
  EXPECT_EQ(find<QComboBox>("evgi_question1")->count(), 1000);
}

TEST_F(EnrolmentTest, EarlierAnswerToAQuestionThatIsNotOfferedIsLeftOut) {
  std::string list;
  for (int i = 0; i < 1001; ++i) list += "q" + std::to_string(i) + ",";
  askFor("INPUT:ENROL=True\r\nQUESTIONS1:" + list + "\r\nQUESTIONS2:" + list +
         "\r\nQUESTION1:q1000\r\nANSWER1:Lost\r\nQUESTION2:q999\r\nANSWER2:Rex\r\n");
  EXPECT_EQ(picked(2), (std::vector{0, 999}));
  EXPECT_EQ(find<QLineEdit>("evgi_answer1")->text(), QString());
  EXPECT_EQ(find<QLineEdit>("evgi_answer2")->text(), QStringLiteral("Rex"));
}

TEST_F(EnrolmentTest, EarlierQuestionIsTheFirstThatIsEqual) {
  askFor(
      "INPUT:ENROL=True\r\nQUESTIONS1:a,b,b\r\nQUESTIONS2:a,b\r\nQUESTION1:b\r\nANSWER1:Rex\r\n"
      "QUESTION2:B\r\nANSWER2:Lost\r\n");
  EXPECT_EQ(picked(2), (std::vector{1, 1}));
  EXPECT_EQ(find<QLineEdit>("evgi_answer1")->text(), QStringLiteral("Rex"));
  EXPECT_EQ(find<QLineEdit>("evgi_answer2")->text(), QString());
}

TEST_F(EnrolmentTest, AnotherUserFindsTheFieldsEmpty) {
  askFor(std::string(pin_lines) + two_lists);
  type("evgi_pin", "1357");
  type("evgi_answer1", "Rex");
  click("evgi_cancel");
  askFor(std::string(pin_lines) + two_lists);
  EXPECT_EQ(find<QLineEdit>("evgi_pin")->text(), QString());
  EXPECT_EQ(find<QLineEdit>("evgi_pinagain")->text(), QString());
  EXPECT_EQ(find<QLineEdit>("evgi_answer1")->text(), QString());
  EXPECT_FALSE(find<QLineEdit>("evgi_answer1")->isUndoAvailable());
}

TEST_F(EnrolmentTest, FieldsAreEmptiedWhenTheirViewCloses) {
  const auto expectEmpty = [](const Lines& names) {
    for (const std::string& name : names) {
      EXPECT_EQ(find<QLineEdit>(name)->text(), QString()) << name;
      EXPECT_FALSE(find<QLineEdit>(name)->isUndoAvailable()) << name;
    }
  };
  const Lines sign_in{"eva_userid", "eva_password", "eva_passcode"};
  signIn("RESULT:OK\r\nVERSION:7100\r\nPASSWORD:True\r\n");
  for (const std::string& name : sign_in) type(name, "secret");
  clickIcon();
  expectEmpty(sign_in);
  signIn("RESULT:OK\r\nVERSION:7100\r\nPASSWORD:True\r\n");
  for (const std::string& name : sign_in) type(name, "secret");
  submit(std::string("RESULT:OK,GETINFO\r\n") + pin_lines + two_lists + third_list + token_line);
  ASSERT_EQ(openView(), "evgi");
  expectEmpty(sign_in);
  const Lines asked{"evgi_pin", "evgi_pinagain", "evgi_answer1", "evgi_answer2", "evgi_answer3"};
  for (const std::string& name : asked) type(name, "1357");
  clickIcon();
  expectEmpty(asked);
  setSettings("AllowManual=1\n");
  launch();
  show("evgu");
  type("evgu_url", "https://srv");
  clickIcon();
  expectEmpty({"evgu_url"});
}

TEST_F(EnrolmentTest, AnswersLeadToTheTokenInTheTokenView) {
  store("Mail");
  askFor(std::string(pin_lines) + two_lists);
  typePin("1357");
  type("evgi_answer1", "Rex");
  type("evgi_answer2", "blue");
  network.answer("RESULT:OK,COMPLETE");
  click("evgi_submit");
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(storedNames(), (Lines{"Mail", "Work"}));
  EXPECT_EQ(panel()->focusWidget(), all<QWidget>("tvcopy").at(1));
  const std::string body = network.requests().back().body.value_or("");
  EXPECT_TRUE(body.ends_with("&PIN=1357&question1=Pet&answer1=Rex&question2=Street&answer2=blue"))
      << body;
  EXPECT_EQ(alerts.texts(), Lines());
}

// The address view.

TEST_F(EnrolmentTest, AddressThatCannotBeReachedIsShownForCorrection) {
  network.answer(UrlResponse{0, std::nullopt, UrlResponse::Error{"Nobody there", 7}, std::nullopt});
  show("av");
  click("avenrol");
  ASSERT_TRUE(QTest::qWaitFor([] { return openView() == "evgu"; }));
  EXPECT_EQ(find<QLabel>("evgu_message")->text(), QStringLiteral("Error: [http] Nobody there [7]"));
  EXPECT_GT(colourOf("evgu_message").red(), 240);
  EXPECT_LT(colourOf("evgu_message").green(), 160);
  EXPECT_EQ(find<QLineEdit>("evgu_url")->text(), QStringLiteral("https://srv"));
  EXPECT_EQ(find<QLabel>("evgu_label")->text(),
            QStringLiteral("Please enter the URL of your company's Talvane server taenrol page"));
  EXPECT_EQ(colourOf("evgu_label"), QColor(Qt::white));
  EXPECT_TRUE(QTest::qWaitForWindowActive(panel()));
  EXPECT_TRUE(find<QLineEdit>("evgu_url")->hasFocus());

  type("evgu_url", "https://other");
  network.answer("RESULT:OK\r\nVERSION:7200\r\n");
  click("evgu_submit");
  ASSERT_EQ(openView(), "eva");
  ASSERT_TRUE(QTest::qWaitFor([this] { return message() != "Please wait..."; }));
  EXPECT_EQ(signInRows(), Lines{"userid"});
  EXPECT_EQ(network.requests().back().url, "https://other/taenrol/enrol.exe?SoftTokenMode=7200");
}

TEST_F(EnrolmentTest, WithoutAnAddressItIsAskedFor) {
  setSettings("AllowManual=1\n");
  show("evgu");
  EXPECT_EQ(textOf("evgu_message"), "No enrol URL configured");
  EXPECT_TRUE(shows("evgu_message"));
  EXPECT_EQ(panel()->height(), 270);
}

TEST_F(EnrolmentTest, MessageAboutTheAddressHasTheTextOfTheSettings) {
  setSettings("AllowManual=1\nStrErrNoEnrolURL=Ask your administrator\n");
  show("evgu");
  EXPECT_EQ(textOf("evgu_message"), "Ask your administrator");
}

TEST_F(EnrolmentTest, CancelInTheAddressViewGoesToTheAddViewOrHome) {
  setSettings("AllowManual=1\n");
  show("evgu");
  click("evgu_cancel");
  EXPECT_EQ(openView(), "av");
  setSettings("AllowManual=0\n");
  launch();
  show("evgu");
  click("evgu_cancel");
  EXPECT_EQ(openView(), "tv");
}

TEST_F(EnrolmentTest, ClosingEndsTheWaitForTheFirstAnswer) {
  show("eva");
  network.awaitRequests(1);
  clearTrace();
  clickIcon();
  EXPECT_EQ(
      traced({"APP: closeWindow: "}),
      (Lines{"APP: closeWindow: begin (roll:1)", "APP: closeWindow: rolling (steps:10 chunk:27)...",
             "APP: closeWindow: aborting eva thead", "APP: closeWindow: end"}));
  network.answer("late");
  signIn("RESULT:OK\r\nVERSION:7200\r\n");
  clearTrace();
  click("eva_cancel");
  EXPECT_EQ(traced({"APP: closeWindow: aborting"}), Lines()) << "nothing is awaited";
}

TEST_F(EnrolmentTest, ClockThatIsWrongIsToldAfterTheEnrolment) {
  clock = 1700000000;
  for (const std::int64_t ahead : {600, -600, 10}) {
    askFor(pin_lines);
    typePin("1357");
    network.answer(UrlResponse{200, "RESULT:OK,COMPLETE", std::nullopt, clock + ahead});
    click("evgi_submit");
    EXPECT_EQ(openView(), "tv");
  }
  ASSERT_EQ(alerts.seen.size(), 2U);
  EXPECT_NE(alerts.seen[0].text.find("clock is 10 minutes behind the server's"), std::string::npos);
  EXPECT_NE(alerts.seen[1].text.find("clock is 10 minutes ahead of the server's"),
            std::string::npos);
}

TEST_F(EnrolmentTest, ClockIsNotToldWhenNothingWasStored) {
  clock = 1700000000;
  askFor(pin_lines);
  typePin("1357");
  network.answer(UrlResponse{200, "RESULT:OK,DENIED", std::nullopt, clock + 600});
  click("evgi_submit");
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(alerts.texts(), Lines());
}

TEST_F(EnrolmentTest, AnswerToASessionThatWasCancelledIsPassedOver) {
  const auto answered = [this](std::size_t count) {
    return QTest::qWaitFor(
        [&] { return traced({"EVA: threadstart: http result"}).size() == count; });
  };
  network.hold(0);
  network.answer("RESULT:OK\r\nVERSION:7100\r\nPASSWORD:True\r\n");
  show("eva");
  network.awaitRequests(1);
  click("eva_cancel");
  EXPECT_EQ(openView(), "av");
  signIn("RESULT:OK\r\nVERSION:7200\r\n");
  ASSERT_TRUE(answered(1));
  EXPECT_EQ(signInRows(), Lines{"userid"});
  network.letGo(0);
  ASSERT_TRUE(answered(2));
  turnEventLoop();
  EXPECT_EQ(openView(), "eva");
  EXPECT_EQ(signInRows(), Lines{"userid"});
}

}  // namespace
}  // namespace talvane
