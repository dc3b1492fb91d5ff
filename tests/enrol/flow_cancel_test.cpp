// Leaving in the middle, with the first request under way or not.

#include <chrono>
#include <optional>
#include <string>

#include "tests/enrol/flow_test.h"

namespace talvane::test {
namespace {

using FlowCancelTest = FlowTest;

TEST_F(FlowCancelTest, EachViewLeadsToWhereItIsAllowed) {
  for (const bool manual : {true, false}) {
    ini.bAllowManual = manual;
    const std::string to = manual ? "av" : "tv";
    start();
    views.calls.clear();
    flow->eva_cancelclicked();
    flow->evgi_cancelclicked();
    flow->evgu_cancelclicked();
    EXPECT_EQ(views.calls, (Lines{"switch eva " + to, "switch evgi " + to, "switch evgu " + to}));
  }
}

TEST_F(FlowCancelTest, SignInIsResetAndItsSessionStays) {
  startFilledIn();
  submit("RESULT:OK,CHALLENGE\r\nPROMPT:p\r\nINPUT:STATE=1");
  flow->eva_cancelclicked();
  ASSERT_NE(flow->taenrol(), nullptr);
  EXPECT_FALSE(flow->taenrol()->bChallenge);
  EXPECT_EQ(flow->taenrol()->PROMPT, "");
  EXPECT_FALSE(flow->taenrol()->post.has_value());
  EXPECT_EQ(flow->taenrol()->VERSION, 7200);
}

TEST_F(FlowCancelTest, SecretsAreForgottenAndTheSessionStays) {
  startFilledIn();
  submit(accepting("INPUT:USERCREATEPIN=True\r\nPINLENGTH:4\r\n"));
  ASSERT_EQ(views.open, View::evgi);
  TaEnrolClient* client = flow->taenrol();
  ASSERT_NE(client->SOFTTOKEN, nullptr);
  client->PIN = "1357";
  client->ANSWER1 = client->ANSWER2 = client->ANSWER3 = "Rex";
  flow->forgetSecrets();
  ASSERT_EQ(flow->taenrol(), client);
  EXPECT_EQ(client->SOFTTOKEN, nullptr);
  EXPECT_FALSE(client->post.has_value());
  for (const auto* secret : {&client->SOFTTOKENURL, &client->PIN, &client->ANSWER1,
                             &client->ANSWER2, &client->ANSWER3}) {
    EXPECT_EQ(*secret, "");
  }
  EXPECT_TRUE(client->bUSERCREATEPIN);
}

TEST_F(FlowCancelTest, ReplyUnderWayArrivesAfterForgetting) {
  flow->forgetSecrets();  // nothing to forget
  script.hold(0);
  script.answer(first_reply);
  flow->eva_init();
  script.awaitRequests(1);
  flow->forgetSecrets();
  script.letGo(0);
  ASSERT_TRUE(views.performNext());
  EXPECT_EQ(flow->taenrol()->VERSION, 7200);
  EXPECT_TRUE(views.submit_enabled);
}

TEST_F(FlowCancelTest, WithoutASession) {
  flow->eva_cancelclicked();
  EXPECT_EQ(views.calls, Lines{"switch eva tv"});
}

TEST_F(FlowCancelTest, NewSessionReplacesTheOld) {
  startFilledIn("RESULT:OK\r\nVERSION:7300\r\nPASSWORD:True");
  submit("RESULT:OK,CHALLENGE\r\nINPUT:STATE=1");
  flow->eva_cancelclicked();
  views.open = View::eva;
  std::optional<bool> shows_the_old;
  views.before_layout = [&] {
    if (!shows_the_old) shows_the_old = flow->taenrol() != nullptr;
  };
  start();
  EXPECT_EQ(shows_the_old, false);
  EXPECT_EQ(flow->taenrol()->VERSION, 7200);
  EXPECT_FALSE(flow->taenrol()->bPASSWORD);
  EXPECT_EQ(script.cleared(), (Lines{page, page}));
}

TEST_F(FlowCancelTest, LateReplyDoesNotDisturbTheNextSession) {
  script.hold(0);
  script.answer("RESULT:late");
  flow->eva_init();
  script.awaitRequests(1);
  flow->eva_cancelclicked();
  EXPECT_EQ(views.open, View::tv);
  flow->abandonWorker();
  EXPECT_FALSE(flow->hasWorker());
  views.open = View::eva;
  start();
  ASSERT_TRUE(views.submit_enabled);
  views.fields[Field::userid] = "U";
  views.calls.clear();
  script.letGo(0);
  ASSERT_TRUE(views.performNext());
  EXPECT_EQ(views.calls, Lines{});
  EXPECT_TRUE(views.submit_enabled);
  EXPECT_EQ(views.message, "");
  EXPECT_EQ(views.fields[Field::userid], "U");
  EXPECT_EQ(flow->taenrol()->VERSION, 7200);
}

TEST_F(FlowCancelTest, LateFailureDoesNotEndTheWaitOfTheNextSession) {
  script.hold(0);
  script.hold(1);
  flow->eva_init();
  script.awaitRequests(1);
  script.answer(first_reply);
  flow->eva_init();
  script.awaitRequests(2);
  script.letGo(0);
  ASSERT_TRUE(views.performNext());
  EXPECT_TRUE(flow->pleasewait());
  EXPECT_TRUE(flow->hasWorker());
  EXPECT_EQ(views.open, View::eva);
  script.letGo(1);
  ASSERT_TRUE(views.performNext());
  EXPECT_FALSE(flow->pleasewait());
  EXPECT_TRUE(views.submit_enabled);
}

TEST_F(FlowCancelTest, ReplyAfterTheViewWasLeftIsProcessed) {
  script.hold(0);
  script.answer("RESULT:OK\r\nVERSION:7300\r\nPASSWORD:True");
  flow->eva_init();
  script.awaitRequests(1);
  flow->eva_cancelclicked();
  script.letGo(0);
  ASSERT_TRUE(views.performNext());
  EXPECT_EQ(views.open, View::tv);
  EXPECT_EQ(flow->taenrol()->VERSION, 7300);
  EXPECT_TRUE(flow->taenrol()->bPASSWORD);
  EXPECT_FALSE(flow->pleasewait());
}

TEST_F(FlowCancelTest, FailureAfterTheViewWasLeftPullsNothingAway) {
  script.hold(0);
  flow->eva_init();
  script.awaitRequests(1);
  flow->eva_cancelclicked();
  script.letGo(0);
  ASSERT_TRUE(views.performNext());
  EXPECT_EQ(views.open, View::tv);
  EXPECT_EQ(views.address_message, "Error: [http] no answer [7]");
}

TEST_F(FlowCancelTest, RedirectAfterTheViewWasLeftStartsNoSession) {
  ini.bAllowHTTP = true;
  ini.EnrolURL = "http://srv";
  script.hold(0);
  script.answer("RESULT:REDIRECTHTTPS");
  flow->eva_init();
  script.awaitRequests(1);
  flow->eva_cancelclicked();
  script.letGo(0);
  ASSERT_TRUE(views.performNext());
  EXPECT_EQ(ini.EnrolURL, "https://srv");
  EXPECT_EQ(script.requests().size(), 1U);
  EXPECT_EQ(views.open, View::tv);
}

TEST_F(FlowCancelTest, EndWithARequestUnderWayIsQuick) {
  script.hold(0);
  script.hold(1);
  flow->eva_init();
  script.awaitRequests(1);
  flow->eva_init();
  script.awaitRequests(2);
  const auto begin = std::chrono::steady_clock::now();
  flow.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
}

TEST_F(FlowCancelTest, EndWithAReplyUnread) {
  script.answer(first_reply);
  flow->eva_init();
  script.awaitRequests(1);
  flow.reset();
  EXPECT_EQ(views.waiting(), 1U);
}

TEST_F(FlowCancelTest, ManySessionsOneAfterTheOther) {
  constexpr std::size_t sessions = 50;
  for (std::size_t i = 0; i < sessions; ++i) {
    script.answer(first_reply);
    flow->eva_init();
  }
  for (std::size_t i = 0; i < sessions; ++i) ASSERT_TRUE(views.performNext());
  EXPECT_EQ(script.requests().size(), sessions);
  EXPECT_TRUE(views.submit_enabled);
  EXPECT_FALSE(flow->hasWorker());
}

}  // namespace
}  // namespace talvane::test
