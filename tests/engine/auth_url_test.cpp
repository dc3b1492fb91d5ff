#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/vane.h"
#include "tests/engine/engine_test.h"

namespace talvane {
namespace {

using test::Lines;
using test::seedOf;

class AuthUrlTest : public test::EngineTest {
 protected:
  /// The token of the URL, or null; the log is emptied before.
  std::unique_ptr<SoftTokenInfo> parse(std::string_view url) {
    gateway.lines.clear();
    std::unique_ptr<SoftTokenInfo> token;
    const bool success = vane::ParseAuthUrl(url, &token);
    EXPECT_EQ(success, token != nullptr) << url;
    EXPECT_TRUE(gateway.changes.empty());
    return token;
  }

  /// What the log ends with when the URL is refused; "accepted" when it is not.
  std::string refusal(std::string_view url) {
    if (parse(url)) return "accepted";
    return gateway.lines.back();
  }

  std::optional<std::string> labelOf(const std::string& path) {
    const auto token = parse("otpauth://totp" + path + "?secret=ABCDEFGHIJKLMNOP");
    return token ? token->description : "refused";
  }
};

TEST_F(AuthUrlTest, LabelSecretAndPeriod) {
  const auto token = parse("otpauth://totp/Work?secret=ABCDEFGHIJKLMNOP&period=60");
  ASSERT_TRUE(token);
  EXPECT_EQ(token->description, "Work");
  EXPECT_EQ(seedOf(*token), "ABCDEFGHIJKLMNOP");
  EXPECT_EQ(token->period, 60);
  EXPECT_EQ(token->type, 1);
  EXPECT_EQ(token->digits, 6);
  EXPECT_EQ(token->counter, -1);
  EXPECT_EQ(token->ek, 0U);
  EXPECT_EQ(gateway.lines,
            (Lines{"vane: parseAuthURL: begin: "
                   "otpauth://totp/Work?secret=ABCDEFGHIJKLMNOP&period=60",
                   "vane: parseAuthURL: parsed scheme:otpauth",
                   "vane: parseAuthURL: parsed host:totp", "vane: parseAuthURL: parsed path:/Work",
                   "vane: parseAuthURL: parsed query:secret=ABCDEFGHIJKLMNOP&period=60",
                   "vane: parseAuthURL: query 'secret=ABCDEFGHIJKLMNOP'   attr:'secret' "
                   "value:'ABCDEFGHIJKLMNOP'",
                   "vane: parseAuthURL: query 'period=60'   attr:'period' value:'60'"}));
}

TEST_F(AuthUrlTest, PeriodIsThirtyWithoutOne) {
  const auto token = parse("otpauth://totp/Work?secret=ABCDEFGHIJKLMNOP");
  ASSERT_TRUE(token);
  EXPECT_EQ(token->period, 30);
}

TEST_F(AuthUrlTest, DisplayNameFollowsTheLabel) {
  const auto token = parse("otpauth://totp/Work?secret=ABCDEFGHIJKLMNOP&display=My+Mail");
  ASSERT_TRUE(token);
  EXPECT_EQ(token->description, "Work|My Mail");
  EXPECT_EQ(Lines(gateway.lines.end() - 3, gateway.lines.end()),
            (Lines{"vane: parseAuthURL: query 'display=My+Mail'   attr:'display' value:'My+Mail'",
                   "    SoftTokenInfo: changeDesc: olddesc:Work newdesc:My+Mail",
                   "    SoftTokenInfo: changeDesc: desc is now:Work|My Mail"}));
}

TEST_F(AuthUrlTest, DisplayNameIsPercentDecoded) {
  const auto token = parse("otpauth://totp/Work?display=caf%C3%A9%20%26+bar&secret=AAAA");
  ASSERT_TRUE(token);
  EXPECT_EQ(token->description, "Work|café & bar");
}

TEST_F(AuthUrlTest, EmptyDisplayNameChangesNothing) {
  for (const char* display : {"display=", "display", "display=%7C&display=|"}) {
    const auto token = parse(std::string("otpauth://totp/Work?secret=AAAA&") + display);
    ASSERT_TRUE(token);
    EXPECT_EQ(token->description, "Work") << display;
    EXPECT_EQ(gateway.lines.back(), "    SoftTokenInfo: changeDesc: length 0, aborted");
  }
}

TEST_F(AuthUrlTest, HostHotpIsRefused) {
  EXPECT_EQ(parse("otpauth://hotp/Work?secret=ABCDEFGHIJKLMNOP"), nullptr);
  EXPECT_EQ(gateway.lines,
            (Lines{"vane: parseAuthURL: begin: otpauth://hotp/Work?secret=ABCDEFGHIJKLMNOP",
                   "vane: parseAuthURL: parsed scheme:otpauth",
                   "vane: parseAuthURL: parsed host:hotp", "vane: parseAuthURL: parsed path:/Work",
                   "vane: parseAuthURL: parsed query:secret=ABCDEFGHIJKLMNOP",
                   "vane: parseAuthURL: invalid type"}));
}

TEST_F(AuthUrlTest, AnotherSchemeIsRefused) {
  EXPECT_EQ(parse("https://totp/Work?secret=ABCDEFGHIJKLMNOP"), nullptr);
  EXPECT_EQ(gateway.lines,
            (Lines{"vane: parseAuthURL: begin: https://totp/Work?secret=ABCDEFGHIJKLMNOP",
                   "vane: parseAuthURL: parsed scheme:https",
                   "vane: parseAuthURL: parsed host:totp", "vane: parseAuthURL: parsed path:/Work",
                   "vane: parseAuthURL: parsed query:secret=ABCDEFGHIJKLMNOP",
                   "vane: parseAuthURL: invalid scheme"}));
}

TEST_F(AuthUrlTest, SchemeAndHostAreCaseSensitive) {
  EXPECT_EQ(refusal("OTPAUTH://totp/Work?secret=AAAA"), "vane: parseAuthURL: invalid scheme");
  EXPECT_EQ(refusal("Otpauth://totp/Work?secret=AAAA"), "vane: parseAuthURL: invalid scheme");
  EXPECT_EQ(refusal("otpauth://TOTP/Work?secret=AAAA"), "vane: parseAuthURL: invalid type");
  EXPECT_EQ(refusal("otpauth://totp2/Work?secret=AAAA"), "vane: parseAuthURL: invalid type");
}

TEST_F(AuthUrlTest, TextThatIsNoUrlIsRefused) {
  EXPECT_EQ(refusal(""), "vane: parseAuthURL: invalid scheme");
  EXPECT_EQ(refusal("totp/Work?secret=AAAA"), "vane: parseAuthURL: invalid scheme");
  EXPECT_EQ(refusal("://totp/Work?secret=AAAA"), "vane: parseAuthURL: invalid scheme");
  EXPECT_EQ(refusal("otpauth"), "vane: parseAuthURL: invalid scheme");
  EXPECT_EQ(refusal("otpauth:///Work?secret=AAAA"), "vane: parseAuthURL: invalid type");
  EXPECT_EQ(refusal("otpauth:totp/Work?secret=AAAA"), "vane: parseAuthURL: invalid type");
  EXPECT_EQ(refusal("otpauth:/totp/Work?secret=AAAA"), "vane: parseAuthURL: invalid type");
}

TEST_F(AuthUrlTest, NoSecretIsRefused) {
  EXPECT_EQ(refusal("otpauth://totp/Work?period=60"), "vane: parseAuthURL: seed not found");
  EXPECT_EQ(refusal("otpauth://totp/Work?"), "vane: parseAuthURL: seed not found");
  EXPECT_EQ(refusal("otpauth://totp/Work?Secret=AAAA"), "vane: parseAuthURL: seed not found");
  EXPECT_EQ(refusal("otpauth://totp/Work?secrets=AAAA"), "vane: parseAuthURL: seed not found");
  EXPECT_EQ(refusal("otpauth://totp/Work?=AAAA"), "vane: parseAuthURL: seed not found");
}

TEST_F(AuthUrlTest, UrlWithoutAQueryHasNoSecret) {
  EXPECT_EQ(parse("otpauth://totp/Work"), nullptr);
  EXPECT_EQ(
      gateway.lines,
      (Lines{"vane: parseAuthURL: begin: otpauth://totp/Work",
             "vane: parseAuthURL: parsed scheme:otpauth", "vane: parseAuthURL: parsed host:totp",
             "vane: parseAuthURL: parsed path:/Work", "vane: parseAuthURL: parsed query:(null)",
             "vane: parseAuthURL: seed not found"}));
}

TEST_F(AuthUrlTest, MissingSecretIsReportedBeforeABadPeriod) {
  EXPECT_EQ(refusal("otpauth://totp/Work?period=45"), "vane: parseAuthURL: seed not found");
}

TEST_F(AuthUrlTest, OtherPeriodsAreRefused) {
  const std::string url = "otpauth://totp/Work?secret=ABCDEFGHIJKLMNOP&period=";
  EXPECT_EQ(refusal(url + "45"), "vane: parseAuthURL: invalid period: 45");
  EXPECT_EQ(refusal(url + "0"), "vane: parseAuthURL: invalid period: 0");
  EXPECT_EQ(refusal(url + "-30"), "vane: parseAuthURL: invalid period: -30");
  EXPECT_EQ(refusal(url), "vane: parseAuthURL: invalid period: 0");
  EXPECT_EQ(refusal(url + "x30"), "vane: parseAuthURL: invalid period: 0");
  EXPECT_EQ(refusal(url + "%36%30"), "vane: parseAuthURL: invalid period: 0");
  EXPECT_EQ(refusal("otpauth://totp/Work?secret=AAAA&period"),
            "vane: parseAuthURL: invalid period: 0");
}

TEST_F(AuthUrlTest, PeriodIsClampedToThirtyTwoBits) {
  const std::string url = "otpauth://totp/Work?secret=ABCDEFGHIJKLMNOP&period=";
  EXPECT_EQ(refusal(url + "4294967326"), "vane: parseAuthURL: invalid period: 2147483647");
  EXPECT_EQ(refusal(url + "-4294967266"), "vane: parseAuthURL: invalid period: -2147483648");
  EXPECT_EQ(refusal(url + std::string(400, '9')), "vane: parseAuthURL: invalid period: 2147483647");
}

TEST_F(AuthUrlTest, PeriodIsTheLeadingInteger) {
  for (const char* text : {"60", "+60", "060", "60s", "60.5"}) {
    const auto token = parse(std::string("otpauth://totp/W?secret=AAAA&period=") + text);
    ASSERT_TRUE(token) << text;
    EXPECT_EQ(token->period, 60) << text;
  }
}

TEST_F(AuthUrlTest, LaterOccurrenceOverridesAnEarlierOne) {
  const auto token = parse(
      "otpauth://totp/Work?secret=AAAA&period=45&display=One&secret=BBBB&period=60&display=Two");
  ASSERT_TRUE(token);
  EXPECT_EQ(seedOf(*token), "BBBB");
  EXPECT_EQ(token->period, 60);
  EXPECT_EQ(token->description, "Work|Two");
}

TEST_F(AuthUrlTest, OtherAttributesAreIgnored) {
  const auto token = parse(
      "otpauth://totp/Work?digits=8&algorithm=SHA256&issuer=X&counter=5&secret=AAAA&Period=60"
      "&DISPLAY=No");
  ASSERT_TRUE(token);
  EXPECT_EQ(token->description, "Work");
  EXPECT_EQ(token->digits, 6);
  EXPECT_EQ(token->counter, -1);
  EXPECT_EQ(token->period, 30);
}

TEST_F(AuthUrlTest, PartsSplitAtTheirFirstEqualsSign) {
  const auto token = parse("otpauth://totp/Work?secret=AA=BB=&display=x=y");
  ASSERT_TRUE(token);
  EXPECT_EQ(seedOf(*token), "AA=BB=");
  EXPECT_EQ(token->description, "Work|x=y");
  EXPECT_EQ(gateway.lines[5],
            "vane: parseAuthURL: query 'secret=AA=BB='   attr:'secret' value:'AA=BB='");
}

TEST_F(AuthUrlTest, PartWithoutAnEqualsSignHasAnEmptyValue) {
  ASSERT_TRUE(parse("otpauth://totp/Work?flag&secret=AAAA&&"));
  EXPECT_EQ(Lines(gateway.lines.begin() + 5, gateway.lines.end()),
            (Lines{"vane: parseAuthURL: query 'flag'   attr:'flag' value:''",
                   "vane: parseAuthURL: query 'secret=AAAA'   attr:'secret' value:'AAAA'",
                   "vane: parseAuthURL: query ''   attr:'' value:''",
                   "vane: parseAuthURL: query ''   attr:'' value:''"}));
}

// Only NewToken checks the seed.
TEST_F(AuthUrlTest, EmptySecretIsASecret) {
  for (const char* url : {"otpauth://totp/Work?secret=", "otpauth://totp/Work?secret"}) {
    const auto token = parse(url);
    ASSERT_TRUE(token) << url;
    EXPECT_EQ(seedOf(*token), "");
    std::optional<std::string> response;
    EXPECT_EQ(vane::NewToken(*token, &response, nullptr, true), "Invalid seed length");
  }
}

TEST_F(AuthUrlTest, SecretIsTakenAsWritten) {
  const auto token = parse("otpauth://totp/Work?secret=abcd%45+fgh!");
  ASSERT_TRUE(token);
  EXPECT_EQ(seedOf(*token), "abcd%45+fgh!");
}

TEST_F(AuthUrlTest, LabelIsThePathWithoutItsFirstCharacter) {
  EXPECT_EQ(labelOf("/Work"), "Work");
  EXPECT_EQ(labelOf("/Company:alice@example.com"), "Company:alice@example.com");
  EXPECT_EQ(labelOf("/a/b"), "a/b");
  EXPECT_EQ(labelOf("//Work"), "/Work");
}

TEST_F(AuthUrlTest, TrailingSlashOfThePathIsDropped) {
  EXPECT_EQ(labelOf("/Mail/"), "Mail");
  EXPECT_EQ(labelOf("/a/b/"), "a/b");
  ASSERT_TRUE(parse("otpauth://totp/Mail/?secret=AAAA"));
  EXPECT_EQ(gateway.lines[3], "vane: parseAuthURL: parsed path:/Mail");
}

TEST_F(AuthUrlTest, LabelMayBeEmpty) {
  EXPECT_EQ(labelOf(""), "");
  EXPECT_EQ(labelOf("/"), "");
}

TEST_F(AuthUrlTest, LabelIsPercentDecoded) {
  EXPECT_EQ(labelOf("/My%20Mail"), "My Mail");
  EXPECT_EQ(labelOf("/caf%c3%a9"), "café");
  EXPECT_EQ(labelOf("/%E5%90%8D"), "名");
  EXPECT_EQ(labelOf("/a%2Fb"), "a/b");
  EXPECT_EQ(labelOf("/a%3Fb"), "a?b");
  ASSERT_TRUE(parse("otpauth://totp/My%20Mail?secret=AAAA"));
  EXPECT_EQ(gateway.lines[3], "vane: parseAuthURL: parsed path:/My Mail");
}

TEST_F(AuthUrlTest, PlusInALabelIsAPlus) {
  EXPECT_EQ(labelOf("/My+Mail"), "My+Mail");
}

TEST_F(AuthUrlTest, MalformedEscapeLeavesTheLabelAsTyped) {
  EXPECT_EQ(labelOf("/100%"), "100%");
  EXPECT_EQ(labelOf("/%20%zz"), "%20%zz");
  EXPECT_EQ(labelOf("/%FF%20"), "%FF%20");
}

TEST_F(AuthUrlTest, FragmentIsNoPartOfTheQuery) {
  const auto token = parse("otpauth://totp/Work?secret=ABCDEFGHIJKLMNOP#display=No");
  ASSERT_TRUE(token);
  EXPECT_EQ(seedOf(*token), "ABCDEFGHIJKLMNOP");
  EXPECT_EQ(token->description, "Work");
  EXPECT_EQ(gateway.lines[4], "vane: parseAuthURL: parsed query:secret=ABCDEFGHIJKLMNOP");
}

TEST_F(AuthUrlTest, QuestionMarkInTheQueryIsPartOfIt) {
  const auto token = parse("otpauth://totp/Work?secret=AAAA&display=What?");
  ASSERT_TRUE(token);
  EXPECT_EQ(token->description, "Work|What?");
}

TEST_F(AuthUrlTest, ProblemIsNamedAndTheTokenUntouched) {
  const std::vector<std::pair<std::string, AuthUrlProblem>> urls{
      {"https://totp/Work?secret=AAAA", AuthUrlProblem::invalid_scheme},
      {"otpauth://hotp/Work?secret=AAAA", AuthUrlProblem::invalid_type},
      {"otpauth://totp/Work?period=30", AuthUrlProblem::no_seed},
      {"otpauth://totp/Work?secret=AAAA&period=45", AuthUrlProblem::invalid_period}};
  for (const auto& [url, expected] : urls) {
    auto token = std::make_unique<SoftTokenInfo>();
    const SoftTokenInfo* before = token.get();
    AuthUrlProblem problem = AuthUrlProblem::none;
    EXPECT_FALSE(vane::ParseAuthUrl(url, &token, &problem)) << url;
    EXPECT_EQ(problem, expected) << url;
    EXPECT_EQ(token.get(), before) << url;
  }
}

TEST_F(AuthUrlTest, AcceptedUrlHasNoProblem) {
  std::unique_ptr<SoftTokenInfo> token;
  AuthUrlProblem problem = AuthUrlProblem::no_seed;
  EXPECT_TRUE(vane::ParseAuthUrl("otpauth://totp/Work?secret=AAAA", &token, &problem));
  EXPECT_EQ(problem, AuthUrlProblem::none);
}

TEST_F(AuthUrlTest, UserAndPortAreNoPartOfTheHost) {
  EXPECT_TRUE(parse("otpauth://alice@totp/Work?secret=AAAA"));
  EXPECT_EQ(gateway.lines[2], "vane: parseAuthURL: parsed host:totp");
  EXPECT_TRUE(parse("otpauth://totp:8080/Work?secret=AAAA"));
  EXPECT_EQ(gateway.lines[2], "vane: parseAuthURL: parsed host:totp");
}

TEST_F(AuthUrlTest, BracesReachTheLogAsTheyAre) {
  EXPECT_EQ(parse("{}://{0}"), nullptr);
  EXPECT_EQ(gateway.lines.front(), "vane: parseAuthURL: begin: {}://{0}");
}

TEST_F(AuthUrlTest, ImportedTokenIsStoredByNewToken) {
  const auto token = parse("otpauth://totp/Work?secret=JBSWY3DPEHPK3PXP&period=60&display=My+Mail");
  ASSERT_TRUE(token);
  std::optional<std::string> response;
  std::int32_t slot = -1;
  EXPECT_EQ(vane::NewToken(*token, &response, &slot, false), std::nullopt);
  std::unique_ptr<SoftTokenInfo> stored;
  ASSERT_TRUE(vane::ReadToken(0, &stored));
  EXPECT_EQ(stored->description, "Work|My Mail");
  EXPECT_EQ(stored->period, 60);
}

// Pieces of URLs strung together at random: what is accepted has a seed and a valid period.
TEST_F(AuthUrlTest, RandomTextIsRefusedOrYieldsAToken) {
  const std::vector<std::string> pieces{"otpauth",   "://",
                                        "totp",      "/",
                                        "?",         "secret=",
                                        "&",         "period=",
                                        "60",        "30",
                                        "display=",  "=",
                                        "AAAA",      "%",
                                        "%2",        "%41",
                                        "#",         "@",
                                        ":",         "|",
                                        "+",         "\n",
                                        "\xC3",      "é",
                                        "😀",         "[",
                                        "]",         " ",
                                        "999999999", "-",
                                        "{}",        "",
                                        "secret=",   "otpauth://totp/Work?"};
  std::mt19937 random(1701);
  int accepted = 0;
  for (int round = 0; round < 30000; ++round) {
    std::string url = random() % 2 == 0 ? "otpauth://totp/Work?secret=" : "";
    for (std::size_t count = random() % 12; count > 0; --count) {
      url += random() % 16 == 0 ? std::string(1, static_cast<char>(random()))
                                : pieces[random() % pieces.size()];
    }
    gateway.listening = round % 8 == 0;
    std::unique_ptr<SoftTokenInfo> token;
    if (!vane::ParseAuthUrl(url, &token)) {
      EXPECT_EQ(token, nullptr);
      continue;
    }
    ++accepted;
    ASSERT_TRUE(token);
    EXPECT_TRUE(token->seed32.has_value());
    EXPECT_TRUE(token->description.has_value());
    EXPECT_TRUE(token->period == 30 || token->period == 60) << url;
  }
  EXPECT_GT(accepted, 1000);
}

TEST_F(AuthUrlTest, RandomBytesAreRefused) {
  std::mt19937 random(1702);
  for (int round = 0; round < 20000; ++round) {
    std::string url(random() % 60, '\0');
    for (char& character : url) character = static_cast<char>(random());
    std::unique_ptr<SoftTokenInfo> token;
    EXPECT_FALSE(vane::ParseAuthUrl(url, &token));
  }
}

}  // namespace
}  // namespace talvane
