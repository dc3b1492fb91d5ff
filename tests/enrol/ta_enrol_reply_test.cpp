// What the server's replies do to the conversation's state.

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "engine/vane.h"
#include "enrol/ta_enrol_client.h"
#include "tests/support/gateway_test.h"

namespace talvane::test {
namespace {

using Lines = std::vector<std::string>;
using Questions = TaEnrolClient::Questions;
using Result = TaEnrolClient::Result;

constexpr const char* parse_error = "ERR Response parse error";
const std::string line_of = "TaEnrolClient: ProcessEnrolResponse:   line:";
const std::string no_post = "TaEnrolClient: ProcessEnrolResponse: POST: (null)";
const std::string all_done = "TaEnrolClient: ProcessEnrolResponse: OK";

class TaEnrolReplyTest : public GatewayTest {
 protected:
  TaEnrolReplyTest() {
    client.defaultValues();
    gateway.lines.clear();
  }

  std::optional<std::string> get(const std::string& body) {
    gateway.lines.clear();
    return client.processEnrolResponse(body.c_str(), TaEnrolClient::get_parser);
  }
  std::optional<std::string> post(const std::string& body) {
    gateway.lines.clear();
    return client.processEnrolResponse(body.c_str(), TaEnrolClient::post_parser);
  }

  TaEnrolClient client;
};

// The lines of any reply.

TEST_F(TaEnrolReplyTest, NoBodyAndAnEmptyOneHaveNoLines) {
  EXPECT_EQ(client.processEnrolResponse(nullptr, TaEnrolClient::get_parser), std::nullopt);
  EXPECT_EQ(client.processEnrolResponse(nullptr, TaEnrolClient::post_parser), std::nullopt);
  EXPECT_EQ(get(""), std::nullopt);
  EXPECT_EQ(post(""), std::nullopt);
  EXPECT_EQ(client.RESULT, Result::unknown);
}

TEST_F(TaEnrolReplyTest, BodyThatIsNotUtf8HasNoLines) {
  for (const char* bad : {"RESULT:no\r\n\xFF", "\xC3", "RESULT:\xED\xA0\x80", "\xC0\x80"}) {
    EXPECT_EQ(get(bad), std::nullopt);
    EXPECT_EQ(post(bad), std::nullopt);
    for (const std::string& line : gateway.lines) EXPECT_NE(line.find("RESULT"), 0U);
    EXPECT_EQ(gateway.lines.back(), all_done);
  }
}

TEST_F(TaEnrolReplyTest, BodyEndsAtAZeroByte) {
  const std::string body("RESULT:OK\r\n\0garbage", 19);
  EXPECT_EQ(client.processEnrolResponse(body.c_str(), TaEnrolClient::get_parser), std::nullopt);
}

TEST_F(TaEnrolReplyTest, EveryLineIsTraced) {
  EXPECT_EQ(get("# hello\r\n\r\n  RESULT:OK \t\r\nVERSION:7200"), std::nullopt);
  EXPECT_EQ(gateway.lines,
            (Lines{line_of + "# hello", "TaEnrolClient: ProcessEnrolResponse:     comment- ignored",
                   line_of, "TaEnrolClient: ProcessEnrolResponse:     blank line ignored",
                   line_of + "RESULT:OK", line_of + "VERSION:7200", no_post, all_done}));
}

// Splitting gives an empty piece behind the last separator.
TEST_F(TaEnrolReplyTest, LineEndAtTheEndIsFollowedByAnEmptyLine) {
  EXPECT_EQ(get("RESULT:OK\r\n"), std::nullopt);
  EXPECT_EQ(gateway.lines, (Lines{line_of + "RESULT:OK", line_of,
                                  "TaEnrolClient: ProcessEnrolResponse:     blank line ignored",
                                  no_post, all_done}));
}

TEST_F(TaEnrolReplyTest, PostIsTraced) {
  EXPECT_EQ(post("INPUT:a=1"), std::nullopt);
  EXPECT_EQ(gateway.lines, (Lines{line_of + "INPUT:a=1",
                                  "TaEnrolClient: ProcessEnrolResponse: POST: a=1", all_done}));
}

TEST_F(TaEnrolReplyTest, LoneLineFeedSeparatesNothing) {
  EXPECT_EQ(get("RESULT:OK\nVERSION:7200"), "OK\nVERSION:7200");
  EXPECT_EQ(post("PROMPT:a\nRESULT:OK,DENIED\r\nINPUT:b=c\rd"), std::nullopt);
  EXPECT_EQ(client.PROMPT, "a\nRESULT:OK,DENIED");
  EXPECT_EQ(client.post, "b=c\rd");
}

TEST_F(TaEnrolReplyTest, LineWithoutAColonIsMalformed) {
  EXPECT_EQ(get("RESULT"), parse_error);
  EXPECT_EQ(gateway.lines,
            (Lines{line_of + "RESULT",
                   "TaEnrolClient: ProcessEnrolResponse:     malformed attr:value line"}));
  EXPECT_EQ(post("PROMPT:kept\r\nRESULT\r\nPROMPT:not reached"), parse_error);
  EXPECT_EQ(client.PROMPT, "kept");
}

TEST_F(TaEnrolReplyTest, BlanksAroundALineAreDropped) {
  EXPECT_EQ(post("\t \xC2\xA0PROMPT: who \xE2\x80\x83\xC2\x85\r\n   # not text\r\n"), std::nullopt);
  EXPECT_EQ(client.PROMPT, " who");
}

TEST_F(TaEnrolReplyTest, ValueMayHoldMoreColons) {
  EXPECT_EQ(post("PROMPT::a:b:"), std::nullopt);
  EXPECT_EQ(client.PROMPT, ":a:b:");
}

TEST_F(TaEnrolReplyTest, AttributeNamesAreExact) {
  for (const char* line : {"result:OK", "RESULT :OK", ":OK", "X:", "PROMPTS:a"}) {
    EXPECT_EQ(get(line), parse_error) << line;
    EXPECT_EQ(post(line), parse_error) << line;
  }
}

TEST_F(TaEnrolReplyTest, ErrorOfALineIsTracedAndEndsTheReply) {
  EXPECT_EQ(post("RESULT:Too late\r\nPROMPT:not reached"), "Too late");
  EXPECT_EQ(gateway.lines,
            (Lines{line_of + "RESULT:Too late",
                   "TaEnrolClient: ProcessEnrolResponse: parseline return err Too late"}));
  EXPECT_EQ(client.PROMPT, "");
}

// Messages.

TEST_F(TaEnrolReplyTest, MessageTakesAllThatFollows) {
  EXPECT_EQ(post("MESSAGE:Hello\r\nRESULT:OK,DENIED"), std::nullopt);
  EXPECT_EQ(client.RESULT, Result::unknown);
  EXPECT_EQ(client.MESSAGE, "Hello\r\nRESULT:OK,DENIED");
}

TEST_F(TaEnrolReplyTest, MessageDropsEmptyLinesAndComments) {
  EXPECT_EQ(post("MESSAGE:a\r\n\r\n# b\r\n  c  \r\nMESSAGE:d\r\n"), std::nullopt);
  EXPECT_EQ(client.MESSAGE, "a\r\nc\r\nMESSAGE:d");
}

TEST_F(TaEnrolReplyTest, MessageKeepsTheBlankBehindTheColon) {
  EXPECT_EQ(post("MESSAGE: Go away "), std::nullopt);
  EXPECT_EQ(client.MESSAGE, " Go away");
}

TEST_F(TaEnrolReplyTest, MessageOfTheFirstReplyIsTakenToo) {
  EXPECT_EQ(get("RESULT:OK\r\nMESSAGE:\r\nno colon here"), std::nullopt);
  EXPECT_EQ(client.MESSAGE, "\r\nno colon here");
}

TEST_F(TaEnrolReplyTest, MessageIsClosedByTheNextReply) {
  EXPECT_EQ(post("MESSAGE:one"), std::nullopt);
  EXPECT_EQ(post("PROMPT:two\r\nMESSAGE:three"), std::nullopt);
  EXPECT_EQ(client.PROMPT, "two");
  EXPECT_EQ(client.MESSAGE, "onethree") << "only a reset empties it";
}

// The reply to the first request.

TEST_F(TaEnrolReplyTest, FirstReplyWithVersion7200WantsNoPasscode) {
  EXPECT_EQ(get("RESULT:OK\r\nVERSION:7200\r\n"), std::nullopt);
  EXPECT_EQ(client.VERSION, 7200);
  EXPECT_FALSE(client.bPASSCODE);
}

TEST_F(TaEnrolReplyTest, FirstReplyWithAnotherVersionLeavesThePasscode) {
  const std::vector<std::pair<std::string, std::int64_t>> versions{
      {"7300", 7300}, {"7199", 7199}, {"", 0}, {"new", 0}, {"-1", -1}, {"72x", 72}};
  for (const auto& [text, version] : versions) {
    for (const bool before : {true, false}) {
      client.bPASSCODE = before;
      EXPECT_EQ(get("VERSION:" + text), std::nullopt);
      EXPECT_EQ(client.VERSION, version);
      EXPECT_EQ(client.bPASSCODE, before);
    }
  }
}

TEST_F(TaEnrolReplyTest, FirstReplyMayWantAPassword) {
  for (const auto& [text, wanted] : std::vector<std::pair<std::string, bool>>{
           {"True", true}, {"true", false}, {"TRUE", false}, {"", false}, {" True", false}}) {
    client.bPASSWORD = !wanted;
    EXPECT_EQ(get("PASSWORD:" + text), std::nullopt);
    EXPECT_EQ(client.bPASSWORD, wanted) << text;
  }
}

TEST_F(TaEnrolReplyTest, FirstReplyMayRedirect) {
  EXPECT_EQ(get("RESULT:REDIRECTHTTPS\r\nVERSION:7200"), "REDIRECTHTTPS");
  EXPECT_EQ(gateway.lines,
            (Lines{line_of + "RESULT:REDIRECTHTTPS",
                   "pTaEnrolClient: arseLineAuthPostResponse: redirect to https required",
                   "TaEnrolClient: ProcessEnrolResponse: parseline return err REDIRECTHTTPS"}));
  EXPECT_EQ(client.VERSION, 0);
}

TEST_F(TaEnrolReplyTest, FirstReplyWithAnotherResultIsAnError) {
  EXPECT_EQ(get("RESULT:Closed today"), "Closed today");
  EXPECT_EQ(get("RESULT:"), "");
  EXPECT_EQ(get("RESULT:OK,GETINFO"), "OK,GETINFO");
  EXPECT_EQ(client.RESULT, Result::unknown);
}

TEST_F(TaEnrolReplyTest, FirstReplyHasNoOtherAttributes) {
  EXPECT_EQ(get("INPUT:a=b"), parse_error);
  EXPECT_EQ(gateway.lines.at(1), "TaEnrolClient: parseLineAuthPostResponse: unexpected input tag");
  EXPECT_FALSE(client.post.has_value());
  EXPECT_EQ(get("PROMPT:a"), parse_error);
  EXPECT_EQ(gateway.lines.at(1), "TaEnrolClient: parseLineAuthPostResponse: unexpected tag");
  EXPECT_EQ(gateway.lines.at(2),
            "TaEnrolClient: ProcessEnrolResponse: parseline return err ERR Response parse error");
}

// Replies to what is posted.

TEST_F(TaEnrolReplyTest, ResultsOfPosts) {
  const std::vector<std::tuple<std::string, Result, bool>> results{
      {"OK,GETINFO", Result::get_info, false},
      {"OK,DENIED", Result::denied, false},
      {"OK,CHALLENGE", Result::challenge, true}};
  for (const auto& [text, result, challenge] : results) {
    client.bChallenge = !challenge;
    EXPECT_EQ(post("RESULT:" + text), std::nullopt);
    EXPECT_EQ(client.RESULT, result);
    EXPECT_EQ(client.bChallenge, challenge);
  }
}

TEST_F(TaEnrolReplyTest, UnknownResultsOfPosts) {
  for (const char* text : {"OK", "", "ok,denied", "OK, DENIED", "Kaputt", "OK,COMPLETE"}) {
    client.bChallenge = true;
    client.RESULT = Result::unknown;
    EXPECT_EQ(post(std::string("RESULT:") + text), text);
    EXPECT_EQ(client.RESULT, Result::error);
    EXPECT_FALSE(client.bChallenge);
  }
}

TEST_F(TaEnrolReplyTest, PasscodeIsTraced) {
  client.bPASSCODE = false;
  EXPECT_EQ(post("PASSCODE:True"), std::nullopt);
  EXPECT_TRUE(client.bPASSCODE);
  EXPECT_EQ(gateway.lines.at(1), "TaEnrolClient: parseLineAuthPostResponse: Passcode: True");
  EXPECT_EQ(post("PASSCODE:yes"), std::nullopt);
  EXPECT_FALSE(client.bPASSCODE);
  EXPECT_EQ(gateway.lines.at(1), "TaEnrolClient: parseLineAuthPostResponse: Passcode: False");
}

TEST_F(TaEnrolReplyTest, FlagsAmongTheInputs) {
  const std::vector<std::pair<std::string, bool TaEnrolClient::*>> flags{
      {"ENROL", &TaEnrolClient::bENROL},
      {"USERCREATEPIN", &TaEnrolClient::bUSERCREATEPIN},
      {"GETMBNUMBER", &TaEnrolClient::bGETMBNUMBER}};
  for (const auto& [name, flag] : flags) {
    client.defaultValues();
    EXPECT_EQ(post("INPUT:" + name + "=True"), std::nullopt);
    EXPECT_TRUE(client.*flag) << name;
    EXPECT_EQ(client.post, name + "=True");
    EXPECT_EQ(post("INPUT:" + name + "=true"), std::nullopt);
    EXPECT_FALSE(client.*flag) << name;
    EXPECT_EQ(client.post, name + "=True&" + name + "=true");
    EXPECT_EQ(post("INPUT:" + name), std::nullopt);
    EXPECT_FALSE(client.*flag) << name;
  }
}

TEST_F(TaEnrolReplyTest, InputsAreEchoedInOrder) {
  EXPECT_EQ(post("INPUT:b=2\r\nINPUT:FOO\r\nINPUT:a=x=y&z\r\nINPUT:PIN=12 34\r\nINPUT:=v"),
            std::nullopt);
  EXPECT_EQ(client.post, "b=2&FOO=&a=x=y&z&PIN=12 34&=v");
  EXPECT_EQ(client.PIN, "12 34");
}

TEST_F(TaEnrolReplyTest, TokenUrlIsReadAndEchoed) {
  const std::string url = "otpauth://totp/Work?secret=GEZDGNBVGY3TQOJQ&period=60";
  EXPECT_EQ(post("INPUT:SOFTTOKENURL=" + url), std::nullopt);
  EXPECT_EQ(client.SOFTTOKENURL, url);
  ASSERT_NE(client.SOFTTOKEN, nullptr);
  EXPECT_EQ(client.SOFTTOKEN->description, "Work");
  EXPECT_EQ(client.SOFTTOKEN->seed32->get(), "GEZDGNBVGY3TQOJQ");
  EXPECT_EQ(client.SOFTTOKEN->period, 60);
  EXPECT_EQ(client.post, "SOFTTOKENURL=" + url);
}

TEST_F(TaEnrolReplyTest, TokenUrlIsSplitAtTheFirstSignOnly) {
  EXPECT_EQ(post("INPUT:SOFTTOKENURL=a=b"), "ERR Soft token URL parse error");
  EXPECT_EQ(client.SOFTTOKENURL, "a=b");
}

TEST_F(TaEnrolReplyTest, TokenUrlThatCannotBeReadIsNotEchoedAndDropsTheToken) {
  EXPECT_EQ(post("INPUT:a=1\r\nINPUT:SOFTTOKENURL=otpauth://totp/x?secret=A"), std::nullopt);
  ASSERT_NE(client.SOFTTOKEN, nullptr);
  for (const char* bad : {"", "=", "=http://totp/x?secret=A", "=otpauth://hotp/x?secret=A",
                          "=otpauth://totp/x", "=otpauth://totp/x?secret=A&period=45"}) {
    EXPECT_EQ(post(std::string("INPUT:SOFTTOKENURL") + bad), "ERR Soft token URL parse error")
        << bad;
    EXPECT_EQ(client.SOFTTOKEN, nullptr);
    EXPECT_EQ(client.post, "a=1&SOFTTOKENURL=otpauth://totp/x?secret=A");
  }
}

TEST_F(TaEnrolReplyTest, PinLength) {
  for (const auto& [text, length] : std::vector<std::pair<std::string, std::int64_t>>{
           {"6", 6}, {"12 or so", 12}, {" 8", 8}, {"-3", -3}}) {
    EXPECT_EQ(post("PINLENGTH:" + text), std::nullopt) << text;
    EXPECT_EQ(client.PINLENGTH, length);
  }
  for (const char* zero : {"0", "", "six", "00"}) {
    EXPECT_EQ(post(std::string("PINLENGTH:") + zero), parse_error) << zero;
    EXPECT_EQ(gateway.lines.at(1), "TaEnrolClient: parseLineAuthPostResponse: err pinlength 0");
  }
}

TEST_F(TaEnrolReplyTest, LeastNumbersOfLetters) {
  struct Rule {
    std::string name;
    std::int64_t TaEnrolClient::*number;
    std::string complaint;
  };
  const std::vector<Rule> rules{{"UPPERCASE", &TaEnrolClient::UPPERCASE, "err uppercase 0"},
                                {"LOWERCASE", &TaEnrolClient::LOWERCASE, "err lowercase 0"}};
  for (const Rule& rule : rules) {
    EXPECT_EQ(post(rule.name + ":2"), std::nullopt);
    EXPECT_EQ(client.*rule.number, 2);
    EXPECT_EQ(post(rule.name + ":"), std::nullopt);
    EXPECT_EQ(client.*rule.number, 0) << "an empty one asks for none";
    for (const char* zero : {"0", "many"}) {
      EXPECT_EQ(post(rule.name + ":" + zero), parse_error);
      EXPECT_EQ(gateway.lines.at(1), "TaEnrolClient: parseLineAuthPostResponse: " + rule.complaint);
    }
  }
}

TEST_F(TaEnrolReplyTest, QuestionsAndEarlierAnswers) {
  EXPECT_EQ(post("QUESTIONS1:a,b\r\nQUESTIONS2:c\r\nQUESTIONS3:\r\nQUESTION1:a\r\nQUESTION2:c\r\n"
                 "QUESTION3:d,e\r\nANSWER1:x\r\nANSWER2:y\r\nANSWER3:z"),
            std::nullopt);
  EXPECT_EQ(client.QUESTIONS1, (Questions{"a", "b"}));
  EXPECT_EQ(client.QUESTIONS2, (Questions{"c"}));
  EXPECT_EQ(client.QUESTIONS3, std::nullopt) << "only two are asked";
  EXPECT_EQ(client.QUESTION1 + client.QUESTION2 + client.QUESTION3, "acd,e");
  EXPECT_EQ(client.ANSWER1, "x");
  EXPECT_EQ(client.ANSWER2, "y");
  EXPECT_EQ(client.ANSWER3, "z");
  EXPECT_EQ(post("QUESTIONS3:f , g\r\nQUESTIONS1:"), std::nullopt);
  EXPECT_EQ(client.QUESTIONS3, (Questions{"f", "g"}));
  EXPECT_EQ(client.QUESTIONS1, Questions{});
  EXPECT_EQ(post("QUESTIONS3:"), std::nullopt);
  EXPECT_EQ(client.QUESTIONS3, (Questions{"f", "g"})) << "an empty one changes nothing";
}

TEST_F(TaEnrolReplyTest, QuestionListsDropBlanksAndEmptyPieces) {
  EXPECT_EQ(post("QUESTIONS1: A , ,B"), std::nullopt);
  EXPECT_EQ(client.QUESTIONS1, (Questions{"A", "B"}));
  EXPECT_EQ(TaEnrolClient::parseQuestions(""), Questions{});
  EXPECT_EQ(TaEnrolClient::parseQuestions(",,\t,\n"), Questions{});
  EXPECT_EQ(TaEnrolClient::parseQuestions("one question"), Questions{"one question"});
  EXPECT_EQ(TaEnrolClient::parseQuestions("b,a,b"), (Questions{"b", "a", "b"}));
}

TEST_F(TaEnrolReplyTest, UnexpectedAttributeOfAPost) {
  EXPECT_EQ(post("VERSION:7200"), parse_error);
  EXPECT_EQ(gateway.lines.at(1), "parseLineAuthPostResponse: unexpected attribute");
}

// Size.

TEST_F(TaEnrolReplyTest, HundredThousandLines) {
  gateway.listening = false;
  std::string body;
  for (int i = 0; i < 100000; ++i) body += "INPUT:f=1\r\n";
  EXPECT_EQ(post(body), std::nullopt);
  EXPECT_EQ(client.post->get().size(), 100000U * 4 - 1);
}

TEST_F(TaEnrolReplyTest, LinesOfAMillionBytesInTenMillion) {
  gateway.listening = false;
  std::string body;
  for (int i = 0; i < 10; ++i) body += "PROMPT:" + std::string(1U << 20U, 'p') + "\r\n";
  EXPECT_EQ(post(body), std::nullopt);
  EXPECT_EQ(client.PROMPT.size(), 1U << 20U);
}

TEST_F(TaEnrolReplyTest, MessageOfManyLines) {
  gateway.listening = false;
  std::string body = "MESSAGE:";
  for (int i = 0; i < 100000; ++i) body += "x\r\n";
  EXPECT_EQ(post(body), std::nullopt);
  EXPECT_EQ(client.MESSAGE.size(), 100000U * 3 - 2);
}

TEST_F(TaEnrolReplyTest, MillionQuestions) {
  gateway.listening = false;
  std::string body = "QUESTIONS1:";
  for (int i = 0; i < 1000000; ++i) body += "q, ";
  EXPECT_EQ(post(body), std::nullopt);
  EXPECT_EQ(client.QUESTIONS1->size(), 1000000U);
}

}  // namespace
}  // namespace talvane::test
