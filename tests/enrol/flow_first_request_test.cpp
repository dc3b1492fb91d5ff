// A session's start, its first request, and what the reply leads to.

#include <algorithm>
#include <new>
#include <string>
#include <vector>

#include "tests/enrol/flow_test.h"

namespace talvane::test {
namespace {

using FlowFirstRequestTest = FlowTest;

TEST_F(FlowFirstRequestTest, NothingBeforeTheFirstSession) {
  EXPECT_EQ(flow->taenrol(), nullptr);
  EXPECT_FALSE(flow->hasWorker());
  EXPECT_FALSE(flow->pleasewait());
  EXPECT_FALSE(flow->ending().has_value());
  EXPECT_FALSE(flow->eva_calcsubmitstate());
  flow->eva_submitclicked();
  flow->evgi_submitclicked();
  flow->controlTextDidChange(EnrolFlow::Changed::pin);
  EXPECT_TRUE(script.requests().empty());
  EXPECT_EQ(script.loaders(), 0U);
}

TEST_F(FlowFirstRequestTest, SessionStartClearsAndWaits) {
  views.fields = {{Field::userid, "U"}, {Field::password, "P"}, {Field::passcode, "C"}};
  views.message = "old";
  script.hold(0);
  flow->eva_init();
  EXPECT_EQ(
      views.fields[Field::userid] + views.fields[Field::password] + views.fields[Field::passcode],
      "");
  EXPECT_EQ(views.message, "");
  EXPECT_EQ(views.calls, (Lines{"disable", "layout busy"}));
  EXPECT_TRUE(flow->pleasewait());
  EXPECT_TRUE(flow->hasWorker());
  EXPECT_NE(flow->taenrol(), nullptr);
  EXPECT_EQ(script.cleared(), Lines{page});
  script.letGo(0);
  ASSERT_TRUE(views.performNext());
  EXPECT_FALSE(flow->hasWorker());
  EXPECT_FALSE(flow->pleasewait());
}

TEST_F(FlowFirstRequestTest, GoodReplyEnablesSubmit) {
  start();
  const auto requests = script.requests();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].url, page);
  EXPECT_FALSE(requests[0].body.has_value());
  EXPECT_EQ(views.calls, (Lines{"disable", "layout busy", "enable", "layout"}));
  EXPECT_EQ(views.message, "");
  EXPECT_EQ(flow->taenrol()->VERSION, 7200);
}

TEST_F(FlowFirstRequestTest, SubmitBeforeTheReplyIsIgnored) {
  script.hold(0);
  script.answer(first_reply);
  flow->eva_init();
  script.awaitRequests(1);
  views.fields[Field::userid] = "U";
  views.calls.clear();
  flow->eva_submitclicked();
  EXPECT_EQ(views.calls, Lines{});
  EXPECT_TRUE(flow->pleasewait());
  script.letGo(0);
  ASSERT_TRUE(views.performNext());
  EXPECT_EQ(script.requests().size(), 1U);
  EXPECT_TRUE(views.submit_enabled);
}

TEST_F(FlowFirstRequestTest, MissingMemoryIsTold) {
  script.before_answer = [] { throw std::bad_alloc(); };
  flow->eva_init();
  ASSERT_TRUE(views.performNext());
  EXPECT_EQ(views.address_message, "Error: Not enough memory; close other programs and try again");
  EXPECT_EQ(views.open, View::evgu);
  EXPECT_FALSE(flow->pleasewait());
  EXPECT_FALSE(views.submit_enabled);
}

TEST_F(FlowFirstRequestTest, RequestIsTraced) {
  start();
  EXPECT_EQ(logged({"EVA:"}),
            (Lines{"EVA: threadstart: doing initial GET...", "EVA: threadstart: http result: 200",
                   "EVA: threadstart: http error: (null) [0]"}));
}

// The scheme is in lower case by the time it is looked at.
TEST_F(FlowFirstRequestTest, AddressThatIsRefused) {
  ini.EnrolURL = "HTTP://srv";
  flow->eva_init();
  ASSERT_TRUE(views.performNext());
  EXPECT_EQ(views.address_message, "Error: Http not allowed");
  EXPECT_EQ(views.calls, (Lines{"disable", "layout busy", "switch eva evgu", "layout"}));
  EXPECT_FALSE(views.submit_enabled);
  EXPECT_TRUE(script.requests().empty());
}

TEST(ProblemWithAddress, OtherBeginningsAndUpperCaseAreInvalid) {
  const std::string invalid = "Invalid URL (must begin with http:// or https://)";
  for (const char* address : {"", "srv", "ftp://srv", " https://srv", "https:/srv", "HTTP://srv",
                              "Http://srv", "HTTPS://srv", "hTTps://srv"}) {
    EXPECT_EQ(problemWithAddress(address, true), invalid) << address;
  }
  EXPECT_EQ(problemWithAddress("http://srv", true), std::nullopt);
  EXPECT_EQ(problemWithAddress("https://srv", false), std::nullopt);
  EXPECT_EQ(problemWithAddress("http://srv", false), "Http not allowed");
}

// The address is in lower case by the time it is looked at.
TEST_F(FlowFirstRequestTest, HttpIsTakenWhereItIsAllowed) {
  ini.bAllowHTTP = true;
  ini.EnrolURL = "HTTP://Srv";
  start();
  EXPECT_EQ(script.requests().at(0).url, "http://srv/taenrol/enrol.exe?SoftTokenMode=7200");
  EXPECT_TRUE(views.submit_enabled);
}

TEST_F(FlowFirstRequestTest, ProxyThatAsksForAPasswordShowsNothing) {
  script.answer("RESULT:OK", 407);
  flow->eva_init();
  ASSERT_TRUE(views.performNext());
  EXPECT_EQ(views.calls, (Lines{"disable", "layout busy", "layout"}));
  EXPECT_EQ(views.message, "");
  EXPECT_FALSE(views.submit_enabled);
}

TEST_F(FlowFirstRequestTest, OtherStatusLeadsToTheAddress) {
  for (const long status : {404L, 500L, 201L, 304L}) {
    views.open = View::eva;
    script.answer("RESULT:OK", status);
    flow->eva_init();
    ASSERT_TRUE(views.performNext());
    EXPECT_EQ(views.address_message, "Error: [http] (null) [0]");
    EXPECT_EQ(views.open, View::evgu);
  }
}

TEST_F(FlowFirstRequestTest, FailureLeadsToTheAddress) {
  flow->eva_init();
  ASSERT_TRUE(views.performNext());
  EXPECT_EQ(views.address_message, "Error: [http] no answer [7]");
  EXPECT_EQ(views.open, View::evgu);
  EXPECT_EQ(
      logged({"EVA: threadstart: http"}),
      (Lines{"EVA: threadstart: http result: 0", "EVA: threadstart: http error: no answer [7]"}));
}

TEST_F(FlowFirstRequestTest, MissingLoaderIsToldAndTriedAgain) {
  make_loader = [](std::string* error) {
    *error = "It is missing";
    return nullptr;
  };
  flow->eva_init();
  ASSERT_TRUE(views.performNext());
  EXPECT_EQ(views.address_message, "Error: [http] It is missing [0]");
  make_loader = [this](std::string*) { return script.makeLoader(); };
  start();
  EXPECT_TRUE(views.submit_enabled);
}

TEST_F(FlowFirstRequestTest, LoaderIsMadeOnce) {
  start();
  start();
  EXPECT_EQ(script.loaders(), 1U);
}

TEST_F(FlowFirstRequestTest, ReplyThatCannotBeRead) {
  for (const auto& [reply, message] : std::vector<std::pair<std::string, std::string>>{
           {"RESULT:Closed", "Error: Closed"},
           {"<html>", "Error: ERR Response parse error"},
           {"INPUT:a=b", "Error: ERR Response parse error"}}) {
    start(reply);
    EXPECT_EQ(views.message, message);
    EXPECT_EQ(views.open, View::eva);
    EXPECT_FALSE(views.submit_enabled);
    EXPECT_EQ(views.calls.back(), "layout");
  }
}

TEST_F(FlowFirstRequestTest, EmptyReplyIsGoodEnough) {
  start("");
  EXPECT_TRUE(views.submit_enabled);
}

TEST_F(FlowFirstRequestTest, RedirectStartsASessionOnHttps) {
  ini.bAllowHTTP = true;
  ini.EnrolURL = "HtTp://Srv/HTTP://x";
  script.answer("RESULT:REDIRECTHTTPS");
  script.answer(first_reply);
  flow->eva_init();
  ASSERT_TRUE(views.performNext());
  EXPECT_EQ(ini.EnrolURL, "https://Srv/HTTP://x");
  EXPECT_EQ(views.message, "Error: REDIRECTHTTPS");
  EXPECT_EQ(views.calls, (Lines{"disable", "layout busy", "refresh", "disable", "layout busy",
                                "message Error: REDIRECTHTTPS", "layout busy"}));
  ASSERT_TRUE(views.performNext());
  EXPECT_TRUE(views.submit_enabled);
  EXPECT_EQ(views.message, "");
  EXPECT_EQ(script.requests().at(1).url,
            "https://srv/http://x/taenrol/enrol.exe?SoftTokenMode=7200");
  EXPECT_EQ(logged({"EVA: threadfinished"}), Lines{"EVA: threadfinished: redirect https"});
}

TEST_F(FlowFirstRequestTest, RedirectOverHttpsStartsNoOtherSession) {
  for (const char* address : {"https://srv", "HTTPS://srv"}) {
    script.forget();
    ini.EnrolURL = address;
    start("RESULT:REDIRECTHTTPS");
    EXPECT_EQ(ini.EnrolURL, address);
    EXPECT_EQ(views.message, "Error: REDIRECTHTTPS");
    EXPECT_EQ(script.requests().size(), 1U);
    EXPECT_EQ(views.waiting(), 0U);
    EXPECT_FALSE(views.submit_enabled);
    EXPECT_FALSE(flow->pleasewait());
    EXPECT_EQ(views.open, View::eva);
    EXPECT_EQ(std::count(views.calls.begin(), views.calls.end(), "refresh"), 0);
  }
}

TEST_F(FlowFirstRequestTest, CorrectedAddressStartsASession) {
  flow->eva_init();
  ASSERT_TRUE(views.performNext());
  ASSERT_EQ(views.open, View::evgu);
  views.address = "https://Other";
  script.answer(first_reply);
  flow->evgu_submitclicked();
  EXPECT_EQ(ini.EnrolURL, "https://Other");
  ASSERT_TRUE(views.performNext());
  EXPECT_EQ(script.requests().back().url, "https://other/taenrol/enrol.exe?SoftTokenMode=7200");
  EXPECT_EQ(views.open, View::eva);
}

TEST_F(FlowFirstRequestTest, SubmitStateOfEachMode) {
  start();
  TaEnrolClient& client = *flow->taenrol();
  const auto state = [&](const char* userid, const char* password, const char* passcode) {
    views.fields = {
        {Field::userid, userid}, {Field::password, password}, {Field::passcode, passcode}};
    return flow->eva_calcsubmitstate();
  };
  EXPECT_FALSE(state("", "P", "C"));
  EXPECT_TRUE(state("U", "", ""));
  client.bPASSCODE = true;
  EXPECT_TRUE(state("U", "", "")) << "a passcode is not required";
  client.bPASSWORD = true;
  EXPECT_FALSE(state("U", "", "C"));
  EXPECT_TRUE(state("U", "P", ""));
  EXPECT_FALSE(state("", "P", "C"));
  client.bChallenge = true;
  EXPECT_FALSE(state("U", "P", ""));
  EXPECT_TRUE(state("", "", "C"));
  client.bPASSCODE = false;
  EXPECT_TRUE(state("", "", ""));
}

TEST_F(FlowFirstRequestTest, ChangedFieldsSetSubmit) {
  start();
  using Changed = EnrolFlow::Changed;
  for (const Changed field : {Changed::userid, Changed::password, Changed::passcode}) {
    views.fields[Field::userid] = "";
    flow->controlTextDidChange(field);
    EXPECT_FALSE(views.submit_enabled);
    views.fields[Field::userid] = "U";
    flow->controlTextDidChange(field);
    EXPECT_TRUE(views.submit_enabled);
  }
  flow->taenrol()->bUSERCREATEPIN = true;
  flow->taenrol()->PINLENGTH = 4;
  views.get_info.pin = "1234";
  flow->controlTextDidChange(Changed::pin);
  EXPECT_TRUE(views.get_info_submit_enabled) << "weak ones are told at Submit";
  views.get_info.pin = "123";
  flow->controlTextDidChange(Changed::pin);
  EXPECT_FALSE(views.get_info_submit_enabled);
  EXPECT_TRUE(logged({"controlText"}).empty());
  flow->controlTextDidChange(Changed::other);
  EXPECT_EQ(logged({"controlText"}), Lines{"controlTextDidChange: ignored"});
}

TEST_F(FlowFirstRequestTest, WhatBecameOfARequestIsTold) {
  EXPECT_EQ(flow->transferProblem(), "") << "there was none";
  script.hold(0);
  script.answer(first_reply);
  flow->eva_init();
  script.awaitRequests(1);
  EXPECT_EQ(flow->transferProblem(), "") << "under way";
  script.letGo(0);
  ASSERT_TRUE(views.performNext());
  EXPECT_EQ(flow->transferProblem(), "");
  submit("", 503);
  EXPECT_EQ(flow->transferProblem(),
            "The server answered with HTTP status 503; try again later, or ask your administrator");
  flow->eva_submitclicked();
  EXPECT_EQ(flow->transferProblem(),
            "The server cannot be reached: no answer [7]; check its address and the network, and "
            "try again");
}

}  // namespace
}  // namespace talvane::test
