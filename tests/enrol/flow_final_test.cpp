// The get-info view's Submit, the final request and the stored token.

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/enrol/flow_test.h"

namespace talvane::test {
namespace {

constexpr const char* pin_lines = "INPUT:USERCREATEPIN=True\r\nPINLENGTH:4\r\n";
constexpr const char* question_lines =
    "INPUT:ENROL=True\r\nQUESTIONS1:q1,q2\r\nQUESTIONS2:q1,q2\r\n";

class FlowFinalTest : public FlowTest {
 protected:
  /// Up to the get-info view.
  void startGetInfo(const std::string& lines) {
    views.open = View::eva;
    startFilledIn();
    submit(accepting(lines));
    ASSERT_EQ(views.open, View::evgi);
    views.calls.clear();
    views.boxes.clear();
    recorder.takeLines();
  }

  /// The get-info view's Submit, answered so.
  void submitGetInfo(const std::string& reply, long status = 200) {
    script.answer(reply, status);
    flow->evgi_submitclicked();
  }

  static std::string echoed(const std::string& before) {
    return before + "SOFTTOKENURL=" + token_url + "&CHECKCODE=263420";
  }
};

TEST_F(FlowFinalTest, WithAPin) {
  startGetInfo(pin_lines);
  views.get_info.pin = "1357";
  submitGetInfo(complete);
  EXPECT_EQ(lastBody(), echoed("USERCREATEPIN=True&") + "&PIN=1357");
  EXPECT_EQ(script.requests().back().url, page);
  EXPECT_EQ(views.calls, Lines{"home"});
  EXPECT_EQ(views.boxes, Lines{});
  EXPECT_EQ(storedNames(), Lines{"Work"});
  ASSERT_TRUE(flow->ending().has_value());
  EXPECT_TRUE(flow->ending()->stored);
  EXPECT_EQ(flow->ending()->name, "Work");
  EXPECT_EQ(flow->ending()->problem, "");
}

// Who interrupts it is told by the step whether the server may have issued the token.
TEST_F(FlowFinalTest, StepsToTheStoredToken) {
  startGetInfo("INPUT:GETMBNUMBER=True\r\n");
  EXPECT_EQ(flow->step(), EnrolFlow::Step::signing_in);
  std::optional<EnrolFlow::Step> asked;
  script.before_answer = [&] { asked = flow->step(); };
  std::optional<EnrolFlow::Step> stored;
  keychain.fault = [&](FaultyKeychain::Call call, std::size_t) {
    if (call == FaultyKeychain::Call::add) stored = flow->step();
    return KeychainStatus::ok;
  };
  submitGetInfo(complete);
  keychain.fault = nullptr;
  EXPECT_EQ(asked, EnrolFlow::Step::completing);
  EXPECT_EQ(stored, EnrolFlow::Step::storing);
  EXPECT_EQ(flow->step(), EnrolFlow::Step::ended);
  EXPECT_EQ(storedNames(), Lines{"Work"});
  script.before_answer = nullptr;
  start();
  EXPECT_EQ(flow->step(), EnrolFlow::Step::signing_in) << "of the next session";
}

TEST_F(FlowFinalTest, PinsThatAreRefused) {
  for (const auto& [pin, box] : std::vector<std::pair<std::string, std::string>>{
           {"123", "Pin did not meet requirements."},
           {"1234", "Pin must not be a raising sequence, this is too weak"}}) {
    startGetInfo(pin_lines);
    const std::size_t before = script.requests().size();
    views.get_info.pin = pin;
    flow->evgi_submitclicked();
    EXPECT_EQ(views.boxes, Lines{box});
    EXPECT_EQ(script.requests().size(), before) << "nothing is sent";
    EXPECT_EQ(views.calls, Lines{});
    EXPECT_EQ(flow->taenrol()->PIN, "") << "nor kept";
  }
}

TEST_F(FlowFinalTest, PinThatWasTypedTwiceHasToBeTheSame) {
  startGetInfo(pin_lines);
  const std::size_t before = script.requests().size();
  views.get_info.pin = "1357";
  views.get_info.pin_again = Cleared<std::string>("1358");
  flow->evgi_submitclicked();
  EXPECT_EQ(views.boxes, Lines{"The PINs do not match; type the PIN again"});
  EXPECT_EQ(script.requests().size(), before);
  EXPECT_EQ(flow->taenrol()->PIN, "");
  views.get_info.pin_again = Cleared<std::string>("1357");
  submitGetInfo(complete);
  EXPECT_EQ(storedNames(), Lines{"Work"});
}

// What is wrong with the PIN itself is more useful to hear.
TEST_F(FlowFinalTest, WeakPinIsToldBeforeADifference) {
  startGetInfo(pin_lines);
  views.get_info.pin = "1234";
  views.get_info.pin_again = Cleared<std::string>("");
  flow->evgi_submitclicked();
  EXPECT_EQ(views.boxes, Lines{"Pin must not be a raising sequence, this is too weak"});
}

TEST_F(FlowFinalTest, WithTwoQuestions) {
  startGetInfo(question_lines);
  views.get_info = {"ignored", {"q1", "q 2", "q3"}, {"abc", "abcdefghijklm", "x"}};
  submitGetInfo(complete);
  EXPECT_EQ(lastBody(), echoed("ENROL=True&") +
                            "&question1=q1&answer1=abc&question2=q%202&answer2=abcdefghijklm");
  EXPECT_EQ(storedNames(), Lines{"Work"});
}

TEST_F(FlowFinalTest, WithThreeQuestionsAndAPin) {
  startGetInfo(std::string(pin_lines) + question_lines + "QUESTIONS3:q3\r\n");
  views.get_info = {"1357", {"q1", "q2", "q3"}, {"aaa", "bbb", "ccc"}};
  submitGetInfo(complete);
  EXPECT_EQ(lastBody(), echoed("USERCREATEPIN=True&ENROL=True&") +
                            "&PIN=1357&question1=q1&answer1=aaa&question2=q2&answer2=bbb"
                            "&question3=q3&answer3=ccc");
}

TEST_F(FlowFinalTest, AnswersThatAreRefused) {
  startGetInfo(question_lines);
  const std::size_t before = script.requests().size();
  views.get_info.answers = {"ab", "abc", ""};
  flow->evgi_submitclicked();
  EXPECT_EQ(views.boxes, Lines{"Answer to secret questions must be at least 3 characters long."});
  EXPECT_EQ(script.requests().size(), before);
  EXPECT_EQ(flow->taenrol()->ANSWER1, "ab") << "copied before it is checked";
}

TEST_F(FlowFinalTest, MobileNumberAloneAsksForNothing) {
  startGetInfo("INPUT:GETMBNUMBER=True\r\n");
  submitGetInfo(complete);
  EXPECT_EQ(lastBody(), echoed("GETMBNUMBER=True&"));
  EXPECT_EQ(storedNames(), Lines{"Work"});
}

TEST_F(FlowFinalTest, PinIsToldBeforeTheAnswers) {
  startGetInfo(std::string(pin_lines) + question_lines);
  flow->evgi_submitclicked();
  EXPECT_EQ(views.boxes, Lines{"Pin did not meet requirements."});
}

TEST_F(FlowFinalTest, CompletionIsABeginningWhateverTheStatus) {
  startGetInfo("INPUT:GETMBNUMBER=True\r\n");
  submitGetInfo("RESULT:OK,COMPLETE and more\r\nX", 500);
  EXPECT_EQ(storedNames(), Lines{"Work"});
}

TEST_F(FlowFinalTest, UnexpectedResponses) {
  for (const char* reply : {"", "RESULT:OK,COMPLET", " RESULT:OK,COMPLETE", "result:ok,complete",
                            "RESULT:OK,DENIED\r\n", "<html>"}) {
    startGetInfo("INPUT:GETMBNUMBER=True\r\n");
    submitGetInfo(reply);
    EXPECT_EQ(logged({"EnrolSubmit:", "EndSession"}),
              (Lines{std::string("EnrolSubmit: unexpected response: ") + reply,
                     "EndSession================"}));
    EXPECT_EQ(views.calls, Lines{"home"});
    EXPECT_EQ(storedNames(), Lines{});
    EXPECT_EQ(flow->taenrol(), nullptr);
    EXPECT_FALSE(flow->ending()->stored);
    EXPECT_NE(flow->ending()->problem, "");
  }
}

TEST_F(FlowFinalTest, ResponseWithoutABodyIsUnexpected) {
  startGetInfo("INPUT:GETMBNUMBER=True\r\n");
  flow->evgi_submitclicked();
  EXPECT_EQ(logged({"EnrolSubmit:"}), Lines{"EnrolSubmit: unexpected response: (null)"});
  EXPECT_EQ(views.calls, Lines{"home"});
  EXPECT_EQ(flow->taenrol(), nullptr);
}

TEST_F(FlowFinalTest, ResponseThatIsNotUtf8IsUnexpected) {
  startGetInfo("INPUT:GETMBNUMBER=True\r\n");
  submitGetInfo("RESULT:OK,COMPLETE\xFF");
  EXPECT_EQ(logged({"EnrolSubmit:"}), Lines{"EnrolSubmit: unexpected response: (null)"});
  EXPECT_EQ(storedNames(), Lines{});
  EXPECT_FALSE(flow->ending()->stored);
}

TEST_F(FlowFinalTest, SeedThatCannotBeUsedLeavesTheViewAsItIs) {
  startFilledIn();
  submit(
      "RESULT:OK,GETINFO\r\nINPUT:GETMBNUMBER=True\r\n"
      "INPUT:SOFTTOKENURL=otpauth://totp/Work?secret=TOOSHORT\r\n");
  views.calls.clear();
  recorder.takeLines();
  const std::size_t before = script.requests().size();
  flow->evgi_submitclicked();
  EXPECT_EQ(script.requests().size(), before);
  EXPECT_EQ(views.calls, Lines{});
  EXPECT_EQ(views.boxes, Lines{});
  EXPECT_EQ(views.open, View::evgi);
  EXPECT_EQ(flow->taenrol(), nullptr);
  EXPECT_EQ(logged({"EnrolSubmit:", "EndSession"}),
            (Lines{"EnrolSubmit: taenrol makeGetInfoResponse error: ERR NewToken failed",
                   "EndSession================"}));
  flow->evgi_submitclicked();
  flow->evgi_cancelclicked();
  EXPECT_EQ(views.open, View::tv);
}

TEST_F(FlowFinalTest, SeedThatCannotBeUsedIsToldWhereNothingElseIsAsked) {
  views.open = View::eva;
  startFilledIn();
  submit(
      "RESULT:OK,GETINFO\r\n"
      "INPUT:SOFTTOKENURL=otpauth://totp/Work?secret=TOOSHORT\r\n");
  EXPECT_EQ(views.open, View::eva);
  EXPECT_EQ(views.message, "ERR NewToken failed");
  EXPECT_EQ(views.calls.back(), "layout");
  EXPECT_FALSE(views.submit_enabled);
  EXPECT_FALSE(flow->pleasewait());
}

TEST_F(FlowFinalTest, TokenOfTheSameNameIsReplaced) {
  for (int i = 0; i < 3; ++i) {
    startGetInfo("INPUT:GETMBNUMBER=True\r\n");
    submitGetInfo(complete);
  }
  EXPECT_EQ(storedNames(), Lines{"Work"});
}

class FlowReplacingTest : public FlowFinalTest {
 protected:
  /// A token of the name that the server issues, typed by hand and renamed.
  void typeToken() {
    SoftTokenInfo token;
    token.description = "Work|My work";
    token.seed32 = Cleared<std::string>(std::string("JBSWY3DPEHPK3PXP"));
    ASSERT_TRUE(store.add(token, TokenStore::SameName::refuse).has_value());
  }
  void enrol() {
    startGetInfo("INPUT:GETMBNUMBER=True\r\n");
    submitGetInfo(complete);
  }
};

TEST_F(FlowReplacingTest, TokenThatCameFromElsewhereStaysAfterNo) {
  typeToken();
  startGetInfo("INPUT:GETMBNUMBER=True\r\n");
  const std::size_t requests = script.requests().size();
  submitGetInfo(complete);
  EXPECT_EQ(views.questions, Lines{"Work for My work"});
  EXPECT_EQ(script.requests().size(), requests) << "the server is not told";
  EXPECT_EQ(storedNames(), Lines{"Work|My work"});
  EXPECT_FALSE(flow->ending()->stored);
  EXPECT_NE(flow->ending()->problem.find("not completed"), std::string::npos);
  EXPECT_EQ(flow->taenrol(), nullptr);
  EXPECT_EQ(views.calls, Lines{"home"});
}

TEST_F(FlowReplacingTest, TokenThatCameFromElsewhereGoesAfterYes) {
  typeToken();
  views.may_replace = true;
  enrol();
  EXPECT_EQ(views.questions.size(), 1U);
  EXPECT_EQ(storedNames(), Lines{"Work"});
  EXPECT_TRUE(flow->ending()->stored);
  enrol();
  EXPECT_EQ(views.questions.size(), 1U) << "now it comes from this server";
}

TEST_F(FlowReplacingTest, TokenOfTheSameServerGoesWithoutAQuestion) {
  for (int i = 0; i < 3; ++i) enrol();
  EXPECT_EQ(views.questions, Lines{});
  EXPECT_EQ(storedNames(), Lines{"Work"});
}

TEST_F(FlowReplacingTest, TokenOfAnotherServerStaysAfterNo) {
  enrol();
  ini.EnrolURL = "https://srv:8443";
  enrol();
  EXPECT_EQ(views.questions, Lines{"Work for Work"});
  EXPECT_FALSE(flow->ending()->stored);
}

TEST_F(FlowReplacingTest, TokenStoredWhileTheServerAnswersStays) {
  startGetInfo("INPUT:GETMBNUMBER=True\r\n");
  script.answer(complete, 200);
  script.before_answer = [this] { typeToken(); };
  flow->evgi_submitclicked();
  EXPECT_EQ(views.questions, Lines{});
  EXPECT_EQ(storedNames(), Lines{"Work|My work"});
  EXPECT_NE(flow->ending()->problem.find("already holds the token \"My work\""), std::string::npos);
}

TEST_F(FlowFinalTest, FullStore) {
  for (std::int32_t slot = 0; slot < vane::max_tokens; ++slot) {
    SoftTokenInfo token;
    token.description = "Token " + std::to_string(slot);
    token.seed32 = Cleared<std::string>(std::string("GEZDGNBVGY3TQOJQ"));
    std::int32_t index = slot;
    ASSERT_TRUE(vane::WriteToken(&index, token));
  }
  const auto before = storedNames();
  ASSERT_EQ(before.size(), 32U);
  startGetInfo("INPUT:GETMBNUMBER=True\r\n");
  const std::size_t requests = script.requests().size();
  submitGetInfo(complete);
  EXPECT_EQ(script.requests().size(), requests) << "known before the last request";
  EXPECT_EQ(logged({"EnrolSubmit:", "EndSession"}),
            (Lines{"EnrolSubmit: write token failed", "EndSession================"}));
  EXPECT_EQ(views.calls, Lines{"home"});
  EXPECT_EQ(views.boxes, Lines{});
  EXPECT_FALSE(flow->ending()->stored);
  EXPECT_NE(flow->ending()->problem.find("32"), std::string::npos);
  EXPECT_EQ(storedNames(), before);
}

TEST_F(FlowFinalTest, RecordOfAnotherComputerIsNotWrittenOver) {
  startGetInfo("INPUT:GETMBNUMBER=True\r\n");
  submitGetInfo(complete);
  ASSERT_EQ(storedNames(), Lines{"Work"});
  const Bytes kept = keychain.memory.items.begin()->second.get();
  identifiers.serial = "of another machine";
  startGetInfo("INPUT:GETMBNUMBER=True\r\n");
  const std::size_t requests = script.requests().size();
  submitGetInfo(complete);
  EXPECT_EQ(script.requests().size(), requests);
  EXPECT_FALSE(flow->ending()->stored);
  EXPECT_NE(flow->ending()->problem.find("slot 0"), std::string::npos);
  ASSERT_EQ(keychain.memory.items.size(), 1U);
  EXPECT_EQ(keychain.memory.items.begin()->second.get(), kept);
}

TEST_F(FlowFinalTest, NamesThatCannotBeStoredEndItBeforeTheLastRequest) {
  for (const char* label : {"", "a%E2%80%AEb"}) {
    startFilledIn();
    submit(std::string("RESULT:OK,GETINFO\r\nINPUT:GETMBNUMBER=True\r\n"
                       "INPUT:SOFTTOKENURL=otpauth://totp/") +
           label + "?secret=GEZDGNBVGY3TQOJQ");
    const std::size_t requests = script.requests().size();
    flow->evgi_submitclicked();
    EXPECT_EQ(script.requests().size(), requests);
    ASSERT_TRUE(flow->ending().has_value());
    EXPECT_NE(flow->ending()->problem.find("name"), std::string::npos);
    views.open = View::eva;
  }
  EXPECT_EQ(storedNames(), Lines{});
}

TEST_F(FlowFinalTest, LockedKeychain) {
  startGetInfo("INPUT:GETMBNUMBER=True\r\n");
  keychain.failAll(KeychainStatus::interaction_not_allowed);
  submitGetInfo(complete);
  EXPECT_EQ(logged({"EnrolSubmit:"}), Lines{"EnrolSubmit: write token failed"});
  EXPECT_EQ(views.calls, Lines{"home"});
  EXPECT_FALSE(flow->ending()->stored);
  EXPECT_NE(flow->ending()->problem, "");
  keychain.fault = nullptr;
  EXPECT_EQ(storedNames(), Lines{});
}

// By the gateway's own clock, which is the system's.
TEST_F(FlowFinalTest, ServersClockIsCompared) {
  startGetInfo("INPUT:GETMBNUMBER=True\r\n");
  UrlResponse response;
  response.status = 200;
  response.body = complete;
  response.date = gateway.CurrentTime() + 1000;
  script.answer(response);
  flow->evgi_submitclicked();
  ASSERT_TRUE(flow->ending()->server_ahead.has_value());
  EXPECT_LE(*flow->ending()->server_ahead, 1000);
  EXPECT_GE(*flow->ending()->server_ahead, 980);
  startGetInfo("INPUT:GETMBNUMBER=True\r\n");
  EXPECT_FALSE(flow->ending().has_value()) << "a new session forgets it";
  submitGetInfo(complete);
  EXPECT_FALSE(flow->ending()->server_ahead.has_value());
}

}  // namespace
}  // namespace talvane::test
