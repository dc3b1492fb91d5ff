// The conversation's state and the bodies made from it.

#include "enrol/ta_enrol_client.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "engine/vane.h"
#include "tests/support/gateway_test.h"
#include "tests/support/vectors.h"

namespace talvane::test {
namespace {

using Lines = std::vector<std::string>;

constexpr const char* expecting = "ERR Expecting POST data";
// RFC 4226's key, cut to ten bytes; tests/vectors/passcode.tsv has its passcodes.
constexpr const char* seed = "GEZDGNBVGY3TQOJQ";

class TaEnrolClientTest : public GatewayTest {
 protected:
  TaEnrolClientTest() {
    gateway.time = 59;
    gateway.lines.clear();
  }

  void giveToken(const std::string& seed32, std::int32_t period = 30) {
    client.SOFTTOKEN = std::make_unique<SoftTokenInfo>();
    client.SOFTTOKEN->description = "Work";
    client.SOFTTOKEN->seed32 = Cleared<std::string>(seed32);
    client.SOFTTOKEN->period = period;
  }

  /// The body that completes an enrolment with nothing but this set.
  std::string finalBody() {
    client.post = "SOFTTOKENURL=x";
    EXPECT_EQ(client.makeGetInfoResponsePOST(), std::nullopt);
    return client.post.value_or("(nil)");
  }

  TaEnrolClient client;
};

void spoil(TaEnrolClient* client) {
  client->post = "a=b";
  client->bMessage = client->bRedirectHttps = client->bPASSWORD = client->bChallenge = true;
  client->bPASSCODE = !client->bPASSCODE;
  client->bUSERCREATEPIN = client->bGETMBNUMBER = client->bENROL = true;
  client->MESSAGE = client->SOFTTOKENURL = client->PROMPT = client->PIN = "text";
  client->RESULT = TaEnrolClient::Result::denied;
  client->UPPERCASE = client->LOWERCASE = client->PINLENGTH = 9;
  client->SOFTTOKEN = std::make_unique<SoftTokenInfo>();
  client->QUESTIONS1 = client->QUESTIONS2 = client->QUESTIONS3 = TaEnrolClient::Questions{"q"};
  client->QUESTION1 = client->QUESTION2 = client->QUESTION3 = "question";
  client->ANSWER1 = client->ANSWER2 = client->ANSWER3 = "answer";
}

void expectDefaults(const TaEnrolClient& client) {
  EXPECT_FALSE(client.post.has_value());
  EXPECT_FALSE(client.bMessage);
  EXPECT_EQ(client.MESSAGE, "");
  EXPECT_FALSE(client.bRedirectHttps);
  EXPECT_FALSE(client.bPASSWORD);
  EXPECT_FALSE(client.bChallenge);
  EXPECT_EQ(client.RESULT, TaEnrolClient::Result::unknown);
  EXPECT_EQ(client.SOFTTOKENURL, "");
  EXPECT_FALSE(client.bUSERCREATEPIN);
  EXPECT_FALSE(client.bGETMBNUMBER);
  EXPECT_FALSE(client.bENROL);
  EXPECT_EQ(client.PROMPT, "");
  EXPECT_EQ(client.UPPERCASE, 0);
  EXPECT_EQ(client.LOWERCASE, 0);
  EXPECT_EQ(client.PIN, "");
  EXPECT_EQ(client.PINLENGTH, 0);
  EXPECT_EQ(client.SOFTTOKEN, nullptr);
  for (const auto* questions : {&client.QUESTIONS1, &client.QUESTIONS2, &client.QUESTIONS3}) {
    EXPECT_FALSE(questions->has_value());
  }
  for (const auto* text : {&client.QUESTION1, &client.QUESTION2, &client.QUESTION3}) {
    EXPECT_EQ(*text, "");
  }
  for (const auto* text : {&client.ANSWER1, &client.ANSWER2, &client.ANSWER3}) {
    EXPECT_EQ(*text, "");
  }
}

TEST_F(TaEnrolClientTest, BeginsWithTheDefaults) {
  const TaEnrolClient fresh;
  expectDefaults(fresh);
  EXPECT_EQ(fresh.VERSION, 0);
  EXPECT_TRUE(fresh.bPASSCODE);
  EXPECT_EQ(gateway.lines, (Lines{"TaEnrolClient: defaultValues"}));
}

TEST_F(TaEnrolClientTest, ResetPutsEveryFieldBack) {
  spoil(&client);
  client.defaultValues();
  expectDefaults(client);
}

TEST_F(TaEnrolClientTest, ResultsHaveTheirNumbers) {
  EXPECT_EQ(static_cast<int>(TaEnrolClient::Result::get_info), 0);
  EXPECT_EQ(static_cast<int>(TaEnrolClient::Result::denied), 1);
  EXPECT_EQ(static_cast<int>(TaEnrolClient::Result::challenge), 2);
  EXPECT_EQ(static_cast<int>(TaEnrolClient::Result::error), 3);
  EXPECT_EQ(static_cast<int>(TaEnrolClient::Result::unknown), 4);
}

TEST_F(TaEnrolClientTest, ResetKeepsTheVersionOnWhichThePasscodeDepends) {
  const std::vector<std::pair<std::int64_t, bool>> versions{
      {0, true}, {-1, true}, {7199, true}, {7200, false}, {7201, false}, {7300, false}};
  for (const auto& [version, passcode] : versions) {
    client.VERSION = version;
    client.defaultValues();
    EXPECT_EQ(client.VERSION, version);
    EXPECT_EQ(client.bPASSCODE, passcode) << version;
  }
}

TEST_F(TaEnrolClientTest, PairsAreJoinedAsTheyAre) {
  client.addToPOST("a", "1");
  EXPECT_EQ(client.post, "a=1");
  client.addToPOST("b", "");
  client.addToPOST("", "x & y = \xC3\xA9%");
  EXPECT_EQ(client.post, "a=1&b=&=x & y = \xC3\xA9%");
}

TEST_F(TaEnrolClientTest, PairAfterAnEmptyBodyIsAppended) {
  client.post = "";
  client.addToPOST("a", "1");
  EXPECT_EQ(client.post, "&a=1");
}

TEST_F(TaEnrolClientTest, SignInWithAPassword) {
  client.post = "left=over";
  EXPECT_EQ(client.makeAuthPOST("U", "P", "C"), std::nullopt);
  EXPECT_EQ(client.post, "userid=U&PASSWORD=P&PASSCODE=C");
}

TEST_F(TaEnrolClientTest, SignInWithAPasswordThatIsEmpty) {
  client.bPASSWORD = true;
  EXPECT_EQ(client.makeAuthPOST("U", "", "C"), std::nullopt);
  EXPECT_EQ(client.post, "userid=U&PASSWORD=&PASSCODE=C");
}

TEST_F(TaEnrolClientTest, SignInWithoutAPassword) {
  EXPECT_EQ(client.makeAuthPOST("U", std::nullopt, "C"), std::nullopt);
  EXPECT_EQ(client.post, "userid=U&PASSCODE=C");
}

TEST_F(TaEnrolClientTest, SignInWithoutThePasswordThatIsWanted) {
  client.post = "left=over";
  client.bPASSWORD = true;
  EXPECT_EQ(client.makeAuthPOST("U", std::nullopt, "C"), "ERR Need password");
  EXPECT_FALSE(client.post.has_value());
}

TEST_F(TaEnrolClientTest, SignInAlwaysHasAPasscode) {
  client.bPASSCODE = false;
  EXPECT_EQ(client.makeAuthPOST("U", std::nullopt, ""), std::nullopt);
  EXPECT_EQ(client.post, "userid=U&PASSCODE=");
}

TEST_F(TaEnrolClientTest, SignInIsNotEscaped) {
  EXPECT_EQ(client.makeAuthPOST("a b&c", "p=q%", "\xC3\xA9"), std::nullopt);
  EXPECT_EQ(client.post, "userid=a b&c&PASSWORD=p=q%&PASSCODE=\xC3\xA9");
}

TEST_F(TaEnrolClientTest, ChallengeWithoutEchoedFields) {
  EXPECT_EQ(client.makeChallengeResponsePOST("C"), expecting);
  EXPECT_FALSE(client.post.has_value());
  client.post = "";
  EXPECT_EQ(client.makeChallengeResponsePOST("C"), expecting);
  EXPECT_EQ(client.post, "");
}

TEST_F(TaEnrolClientTest, ChallengeIsAnsweredBehindTheEchoedFields) {
  client.post = "STATE=7";
  EXPECT_EQ(client.makeChallengeResponsePOST("123 456"), std::nullopt);
  EXPECT_EQ(client.post, "STATE=7&PASSCODE=123 456");
}

TEST_F(TaEnrolClientTest, FinalRequestWithoutEchoedFields) {
  giveToken(seed);
  gateway.lines.clear();
  EXPECT_EQ(client.makeGetInfoResponsePOST(), expecting);
  EXPECT_FALSE(client.post.has_value());
  EXPECT_EQ(gateway.lines,
            (Lines{"TaEnrolClient: MakeGetInfoResponsePOST: begin  (POST currently (null) )"}));
  client.post = "";
  EXPECT_EQ(client.makeGetInfoResponsePOST(), expecting);
  EXPECT_EQ(client.post, "");
  EXPECT_EQ(gateway.lines.back(),
            "TaEnrolClient: MakeGetInfoResponsePOST: begin  (POST currently  )");
}

TEST_F(TaEnrolClientTest, FinalRequestWithoutAToken) {
  client.post = "a=b";
  EXPECT_EQ(client.makeGetInfoResponsePOST(), "ERR NewToken failed");
  EXPECT_EQ(client.post, "a=b");
}

TEST_F(TaEnrolClientTest, FinalRequestWithABadSeed) {
  for (const char* bad : {"", "GEZDGNBVGY3TQO", "GEZDGNBVGY3TQOJ!", "GEZDGNBVGY3TQOJQGEZDGNBV"}) {
    giveToken(bad);
    client.post = "a=b";
    EXPECT_EQ(client.makeGetInfoResponsePOST(), "ERR NewToken failed") << bad;
    EXPECT_EQ(client.post, "a=b");
  }
  EXPECT_EQ(gateway.saves, 0U);
}

TEST_F(TaEnrolClientTest, FinalRequestProvesALongSeedWithThePasscodeOfNow) {
  giveToken(seed);  // counter 1
  EXPECT_EQ(finalBody(), "SOFTTOKENURL=x&CHECKCODE=263420");
  giveToken(seed, 60);  // counter 0
  EXPECT_EQ(finalBody(), "SOFTTOKENURL=x&CHECKCODE=891490");
  gateway.time = 60;  // counter 1
  EXPECT_EQ(finalBody(), "SOFTTOKENURL=x&CHECKCODE=263420");
  giveToken(seed);  // counter 2; the passcode begins with 0
  EXPECT_EQ(finalBody(), "SOFTTOKENURL=x&CHECKCODE=092045");
}

TEST_F(TaEnrolClientTest, FinalRequestSaysWhatItDoes) {
  giveToken(seed);
  gateway.lines.clear();
  finalBody();
  Lines own;
  for (const std::string& line : gateway.lines) {
    if (!line.starts_with("  vane:")) own.push_back(line);
  }
  EXPECT_EQ(own, (Lines{"TaEnrolClient: MakeGetInfoResponsePOST: begin  (POST currently "
                        "SOFTTOKENURL=x )",
                        "TaEnrolClient: MakeGetInfoResponsePOST: first passcode: 263420",
                        "TaEnrolClient: MakeGetInfoResponsePOST: end OK"}));
}

TEST_F(TaEnrolClientTest, FinalRequestStoresNothing) {
  giveToken(seed);
  finalBody();
  EXPECT_EQ(gateway.saves, 0U);
  EXPECT_TRUE(gateway.records.empty());
}

TEST_F(TaEnrolClientTest, FinalRequestProvesAShortSeedWithItsResponse) {
  std::map<std::string, std::uint32_t> identities;
  for (const VectorRow& row : readVectors("device_key.tsv", 2, 47)) {
    identities[row[1]] = static_cast<std::uint32_t>(std::stoul(row[0]));
  }
  for (const VectorRow& row : readVectors("response_code.tsv", 5, 82)) {
    const auto response = orNilCell(row[4]);
    if (!response) continue;
    gateway.identity = identities.at(row[0]);
    vane::SetInterface(&gateway);
    gateway.time = std::stoll(row[3]);
    giveToken(row[1], std::stoi(row[2]));
    gateway.lines.clear();
    EXPECT_EQ(finalBody(), "SOFTTOKENURL=x&CHECKCODE=" + *response) << row;
    for (const std::string& line : gateway.lines) {
      EXPECT_EQ(line.find("first passcode"), std::string::npos) << row;
    }
  }
}

TEST_F(TaEnrolClientTest, FinalRequestWithAPin) {
  giveToken(seed);
  client.PIN = "not wanted";
  EXPECT_EQ(finalBody(), "SOFTTOKENURL=x&CHECKCODE=263420");
  client.bUSERCREATEPIN = true;
  client.PIN = "a b&1";
  EXPECT_EQ(finalBody(), "SOFTTOKENURL=x&CHECKCODE=263420&PIN=a b&1");
}

TEST_F(TaEnrolClientTest, FinalRequestWithTwoQuestions) {
  giveToken(seed);
  client.bENROL = true;
  client.QUESTION1 = "Pet?";
  client.ANSWER1 = "my cat";
  client.QUESTION2 = "Caf\xC3\xA9";
  client.ANSWER2 = "50%";
  client.QUESTION3 = "third";
  client.ANSWER3 = "unasked";
  EXPECT_EQ(finalBody(),
            "SOFTTOKENURL=x&CHECKCODE=263420&question1=Pet?&answer1=my%20cat&question2=Caf%C3%A9"
            "&answer2=50%25");
}

TEST_F(TaEnrolClientTest, FinalRequestWithThreeQuestionsAndAPin) {
  giveToken(seed);
  client.bENROL = client.bUSERCREATEPIN = true;
  client.PIN = "1357";
  client.QUESTIONS3 = TaEnrolClient::Questions{};
  client.QUESTION1 = "q1";
  client.ANSWER1 = "a1";
  client.QUESTION2 = "q2";
  client.ANSWER2 = "a2";
  client.QUESTION3 = "q 3";
  client.ANSWER3 = "a 3";
  EXPECT_EQ(finalBody(),
            "SOFTTOKENURL=x&CHECKCODE=263420&PIN=1357&question1=q1&answer1=a1&question2=q2"
            "&answer2=a2&question3=q%203&answer3=a%203");
}

TEST_F(TaEnrolClientTest, AmpersandWithinAnAnswerSplitsIt) {
  giveToken(seed);
  client.bENROL = true;
  client.ANSWER1 = "salt & pepper=1";
  EXPECT_EQ(finalBody(),
            "SOFTTOKENURL=x&CHECKCODE=263420&question1=&answer1=salt%20&%20pepper=1&question2="
            "&answer2=");
}

}  // namespace
}  // namespace talvane::test
