// Submit in the sign-in view, and what each reply leads to.

#include <string>
#include <utility>
#include <vector>

#include "tests/enrol/flow_test.h"

namespace talvane::test {
namespace {

using FlowAnswerTest = FlowTest;
using Result = TaEnrolClient::Result;

constexpr const char* with_password = "RESULT:OK\r\nVERSION:7200\r\nPASSWORD:True\r\n";

TEST_F(FlowAnswerTest, PasswordIsSentOnlyWhenItIsWanted) {
  startFilledIn();
  submit("RESULT:OK,DENIED");
  EXPECT_EQ(lastBody(), "userid=U&PASSCODE=C");
  EXPECT_EQ(script.requests().back().url, page);
  startFilledIn(with_password);
  submit("RESULT:OK,DENIED");
  EXPECT_EQ(lastBody(), "userid=U&PASSWORD=P&PASSCODE=C");
}

TEST_F(FlowAnswerTest, StatusOtherThanOk) {
  for (const long status : {0L, 201L, 302L, 404L, 407L, 500L}) {
    startFilledIn();
    submit(accepting(), status);
    EXPECT_EQ(views.message, "ERR Todo") << status;
    EXPECT_EQ(views.calls, (Lines{"disable", "layout busy", "message ERR Todo", "layout"}));
    EXPECT_EQ(logged({"EVA:"}), Lines{"EVA: submitclicked: result: ERR Todo"});
  }
}

TEST_F(FlowAnswerTest, ErrorsKeepTheUserNameAlone) {
  startFilledIn(with_password);
  submit("RESULT:OK,DENIED");
  EXPECT_EQ(views.fields[Field::userid], "U");
  EXPECT_EQ(views.fields[Field::password], "");
  EXPECT_EQ(views.fields[Field::passcode], "");
  EXPECT_FALSE(flow->pleasewait());
}

TEST_F(FlowAnswerTest, ErrorTexts) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"RESULT:OK,DENIED\r\nMESSAGE: Go away", " Go away"},
      {"RESULT:OK,DENIED", ini.StrAccessDenied},
      {"RESULT:OK,DENIED\r\nMESSAGE:", ini.StrAccessDenied},
      {"RESULT:Out of order", "Out of order"},
      {"RESULT:OK", "OK"},
      {"PROMPT:hello", "ERR Unknown authentication error"},
      {"", "ERR Unknown authentication error"},
      {"\xFF", "ERR Unknown authentication error"},
      {"MESSAGE:x\r\nRESULT:OK,GETINFO", "ERR Unknown authentication error"},
      {"<html>", "ERR Response parse error"},
      {"VERSION:7200", "ERR Response parse error"},
      {"INPUT:SOFTTOKENURL=http://x", "ERR Soft token URL parse error"},
      {"RESULT:OK,GETINFO", "ERR Soft token info Nil"},
  };
  for (const auto& [reply, message] : cases) {
    startFilledIn();
    submit(reply);
    EXPECT_EQ(views.message, message) << reply;
    EXPECT_EQ(logged({"EVA: submitclicked: result"}),
              Lines{"EVA: submitclicked: result: " + message});
    EXPECT_EQ(views.open, View::eva);
    EXPECT_FALSE(flow->taenrol()->bChallenge);
    EXPECT_EQ(views.calls.back(), "layout");
  }
}

TEST_F(FlowAnswerTest, DeniedTextIsTheSettingsOwn) {
  ini.StrAccessDenied = "Not you";
  startFilledIn();
  submit("RESULT:OK,DENIED");
  EXPECT_EQ(views.message, "Not you");
}

TEST_F(FlowAnswerTest, ReplyWithoutABody) {
  startFilledIn();
  UrlResponse response;
  response.status = 200;
  script.answer(response);
  flow->eva_submitclicked();
  EXPECT_EQ(views.message, "ERR Unknown authentication error");
}

TEST_F(FlowAnswerTest, PasswordStaysAskedFor) {
  startFilledIn(with_password);
  submit("RESULT:OK,DENIED");
  EXPECT_TRUE(flow->taenrol()->bPASSWORD);
  views.fields[Field::password] = "P2";
  submit("RESULT:OK,DENIED");
  EXPECT_EQ(lastBody(), "userid=U&PASSWORD=P2&PASSCODE=");
  startFilledIn();
  submit("RESULT:OK,DENIED");
  EXPECT_FALSE(flow->taenrol()->bPASSWORD);
}

TEST_F(FlowAnswerTest, ChallengeIsShownAndAnswered) {
  startFilledIn(with_password);
  submit("RESULT:OK,CHALLENGE\r\nPROMPT:Next code\r\nPASSCODE:True\r\nINPUT:STATE=7\r\n");
  EXPECT_EQ(views.calls, (Lines{"disable", "layout busy", "layout"}));
  EXPECT_EQ(views.message, "");
  EXPECT_EQ(views.fields[Field::passcode], "");
  EXPECT_EQ(views.fields[Field::password], "P");
  EXPECT_EQ(flow->taenrol()->PROMPT, "Next code");
  EXPECT_TRUE(flow->taenrol()->bChallenge);
  EXPECT_FALSE(flow->eva_calcsubmitstate());
  views.fields[Field::passcode] = "D";
  EXPECT_TRUE(flow->eva_calcsubmitstate());
  submit("RESULT:OK,DENIED");
  EXPECT_EQ(lastBody(), "STATE=7&PASSCODE=D");
  EXPECT_FALSE(flow->taenrol()->bChallenge);
}

TEST_F(FlowAnswerTest, ChallengeCanBeRepeated) {
  startFilledIn();
  submit("RESULT:OK,CHALLENGE\r\nINPUT:STATE=1");
  views.fields[Field::passcode] = "D";
  submit("RESULT:OK,CHALLENGE\r\nINPUT:STATE=2\r\nINPUT:MORE=3");
  EXPECT_EQ(lastBody(), "STATE=1&PASSCODE=D");
  views.fields[Field::passcode] = "E";
  submit(accepting());
  EXPECT_EQ(script.requests().at(3).body, "STATE=2&MORE=3&PASSCODE=E");
}

TEST_F(FlowAnswerTest, ChallengeWithoutEchoedFieldsCannotBeAnswered) {
  startFilledIn();
  submit("RESULT:OK,CHALLENGE");
  const std::size_t before = script.requests().size();
  views.fields[Field::passcode] = "D";
  flow->eva_submitclicked();
  EXPECT_EQ(views.message, "ERR Expecting POST data");
  EXPECT_EQ(script.requests().size(), before);
  EXPECT_FALSE(flow->pleasewait());
}

TEST_F(FlowAnswerTest, FailedChallengeIsASignInAgain) {
  startFilledIn();
  submit("RESULT:OK,CHALLENGE\r\nINPUT:STATE=1");
  submit("RESULT:OK,DENIED");
  views.fields[Field::passcode] = "F";
  submit("RESULT:OK,DENIED");
  EXPECT_EQ(lastBody(), "userid=U&PASSCODE=F");
}

TEST_F(FlowAnswerTest, AcceptWithNothingNeededIsCompleted) {
  startFilledIn();
  script.answer(accepting());
  script.answer(complete);
  flow->eva_submitclicked();
  EXPECT_EQ(lastBody(), std::string("SOFTTOKENURL=") + token_url + "&CHECKCODE=263420");
  EXPECT_EQ(views.calls, (Lines{"disable", "layout busy", "home"}));
  EXPECT_EQ(storedNames(), Lines{"Work"});
  EXPECT_EQ(flow->taenrol(), nullptr);
  EXPECT_FALSE(flow->pleasewait());
}

TEST_F(FlowAnswerTest, AcceptIsTraced) {
  startFilledIn();
  script.answer(accepting());
  script.answer(complete);
  flow->eva_submitclicked();
  EXPECT_EQ(logged({"EVA:", "EnrolSubmit:", "EndSession"}),
            (Lines{"EVA: submitclicked: HTTP 200", "EVA: submitclicked: access accept!",
                   "EVA: submitclicked: Nothing needed from user. Submitting...",
                   "EnrolSubmit: write token success", "EndSession================"}));
}

TEST_F(FlowAnswerTest, AcceptWithSomethingNeededLeadsToTheGetInfoView) {
  for (const char* line : {"INPUT:USERCREATEPIN=True\r\nPINLENGTH:4\r\n", "INPUT:ENROL=True\r\n",
                           "INPUT:GETMBNUMBER=True\r\n"}) {
    views.open = View::eva;
    startFilledIn();
    submit(accepting(line));
    EXPECT_EQ(views.calls, (Lines{"disable", "layout busy", "switch eva evgi"})) << line;
    EXPECT_EQ(logged({"EVA:"}),
              (Lines{"EVA: submitclicked: HTTP 200", "EVA: submitclicked: access accept!",
                     "EVA: submitclicked: Need to get info from user. Switching to "
                     "EnrolGetInfo..."}));
    EXPECT_EQ(flow->taenrol()->RESULT, Result::get_info);
  }
}

TEST_F(FlowAnswerTest, EarlierReplyLeavesNothingBehind) {
  startFilledIn();
  submit(
      "RESULT:OK,CHALLENGE\r\nPROMPT:p\r\nINPUT:ENROL=True\r\nINPUT:USERCREATEPIN=True\r\n"
      "PINLENGTH:4\r\nQUESTIONS3:a,b\r\n");
  views.fields[Field::passcode] = "D";
  submit("RESULT:OK,DENIED");
  const TaEnrolClient& client = *flow->taenrol();
  EXPECT_FALSE(client.bENROL || client.bUSERCREATEPIN);
  EXPECT_EQ(client.PINLENGTH, 0);
  EXPECT_EQ(client.PROMPT, "");
  EXPECT_FALSE(client.QUESTIONS3.has_value());
  EXPECT_EQ(client.VERSION, 7200) << "the version is the session's";
}

}  // namespace
}  // namespace talvane::test
