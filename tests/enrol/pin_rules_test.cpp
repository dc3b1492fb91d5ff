#include "enrol/pin_rules.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "engine/vane.h"
#include "tests/support/gateway_test.h"

namespace talvane::test {
namespace {

using Lines = std::vector<std::string>;

constexpr const char* rising = "Pin must not be a raising sequence, this is too weak";
constexpr const char* falling = "Pin must not be a falling sequence, this is too weak";
constexpr const char* same = "Pin must not use all the same characters, this is too weak";
constexpr const char* short_answer =
    "Answer to secret questions must be at least 3 characters long.";
constexpr const char* long_answer =
    "Answer to secret questions must be no longer than 13 characters.";

class PinRulesTest : public GatewayTest {
 protected:
  PinRulesTest() {
    client.bUSERCREATEPIN = true;
    gateway.lines.clear();
  }

  void want(std::int64_t length, std::int64_t upper = 0, std::int64_t lower = 0) {
    client.PINLENGTH = length;
    client.UPPERCASE = upper;
    client.LOWERCASE = lower;
  }

  TaEnrolClient client;
};

TEST_F(PinRulesTest, NothingIsCheckedWhenNoPinIsWanted) {
  client.bUSERCREATEPIN = false;
  want(6, 1, 1);
  EXPECT_TRUE(checkPIN(client, ""));
  EXPECT_TRUE(gateway.lines.empty());
}

TEST_F(PinRulesTest, LengthAndLettersOfBothCases) {
  want(6, 1, 1);
  EXPECT_TRUE(checkPIN(client, "Ab1234"));
  for (const char* bad : {"ab1234", "AB1234", "Ab123", "Ab12345", "123456", ""}) {
    EXPECT_FALSE(checkPIN(client, bad)) << bad;
  }
}

TEST_F(PinRulesTest, PinIsTracedInClear) {
  want(6, 1, 1);
  checkPIN(client, "Ab1234");
  checkPIN(client, "ab1234");
  EXPECT_EQ(gateway.lines,
            (Lines{"EVGI: checkpin: Ab1234 returning YES", "EVGI: checkpin: ab1234 returning NO"}));
}

TEST_F(PinRulesTest, WithoutCaseRulesOnlyTheLengthCounts) {
  want(4);
  for (const char* good : {"1243", "abcd", "ABCD", "    ", "!?#\xC3\xA9"}) {
    EXPECT_TRUE(checkPIN(client, good)) << good;
  }
  EXPECT_FALSE(checkPIN(client, "124"));
  EXPECT_FALSE(checkPIN(client, "12434"));
}

TEST_F(PinRulesTest, MoreLettersThanWantedAreFine) {
  want(6, 2, 1);
  EXPECT_TRUE(checkPIN(client, "ABCDEf"));
  EXPECT_FALSE(checkPIN(client, "Abcdef"));
}

// Letters and lengths of Unicode, in UTF-16 units: U+00C9 Lu, U+00E9 Ll, U+01C5 Lt, U+1F511 two
// units without a case.
TEST_F(PinRulesTest, LettersBeyondAscii) {
  want(2, 1, 1);
  EXPECT_TRUE(checkPIN(client, "\xC3\x89\xC3\xA9"));
  EXPECT_TRUE(checkPIN(client, "\xC7\x85\xC3\xA9"));
  want(2);
  EXPECT_TRUE(checkPIN(client, "\xF0\x9F\x94\x91"));
  want(2, 1);
  EXPECT_FALSE(checkPIN(client, "\xF0\x9D\x90\x80")) << "U+1D400: its units are no letters";
}

TEST_F(PinRulesTest, WithoutALengthOnlyTheEmptyPinPasses) {
  want(0);
  EXPECT_TRUE(checkPIN(client, ""));
  EXPECT_FALSE(checkPIN(client, "1"));
  EXPECT_EQ(checkPINAdvanced(client, ""), std::nullopt);
}

TEST_F(PinRulesTest, NegativeLengthRefusesEveryPin) {
  want(-1);
  EXPECT_FALSE(checkPIN(client, ""));
  EXPECT_FALSE(checkPIN(client, "1"));
}

TEST_F(PinRulesTest, WholeRunsAreRefused) {
  want(4);
  for (const char* pin : {"1234", "abcd", "WXYZ", "89:;"}) {
    EXPECT_EQ(checkPINAdvanced(client, pin), rising) << pin;
  }
  for (const char* pin : {"4321", "dcba", ";:98"}) {
    EXPECT_EQ(checkPINAdvanced(client, pin), falling) << pin;
  }
  for (const char* pin : {"0000", "7777", "aaaa", "    "}) {
    EXPECT_EQ(checkPINAdvanced(client, pin), same) << pin;
  }
}

TEST_F(PinRulesTest, PartialRunsPass) {
  want(4);
  for (const char* pin : {"1243", "1235", "1123", "4320", "1112", "aBcD", "7890", "9012"}) {
    EXPECT_EQ(checkPINAdvanced(client, pin), std::nullopt) << pin;
  }
}

TEST_F(PinRulesTest, OneCharacterIsAlwaysARisingRun) {
  want(1);
  for (const char* pin : {"1", "a", "\xC3\xA9"}) {
    EXPECT_EQ(checkPINAdvanced(client, pin), rising) << pin;
  }
}

TEST_F(PinRulesTest, RisingRunIsTraced) {
  want(3);
  checkPINAdvanced(client, "123");
  EXPECT_EQ(gateway.lines,
            (Lines{"pin.checking 49 and 50 for raising sequence", "pin.raising sequence found",
                   "pin.checking 50 and 51 for raising sequence", "pin.raising sequence found",
                   "pin.pin must not be raising sequence"}));
}

TEST_F(PinRulesTest, FallingRunIsTraced) {
  want(2);
  checkPINAdvanced(client, "21");
  EXPECT_EQ(gateway.lines,
            (Lines{"pin.checking 50 and 49 for raising sequence",
                   "pin.checking 50 and 49 for falling sequence", "pin.raising falling found",
                   "pin.pin must not be falling sequence"}));
}

TEST_F(PinRulesTest, SameCharactersAreTraced) {
  want(2);
  checkPINAdvanced(client, "\xC3\xA9\xC3\xA9");
  EXPECT_EQ(gateway.lines, (Lines{"pin.checking 233 and 233 for raising sequence",
                                  "pin.checking 233 and 233 for falling sequence",
                                  "pin.checking 233 and 233 for being the same", "pin.same",
                                  "pin.pin must not use all the same characters"}));
}

// The count is taken as a signed 16-bit number: 32,768 pairs read as -32,768.
TEST_F(PinRulesTest, CountWrapsAtSixteenBits) {
  gateway.listening = false;
  want(32768);
  EXPECT_EQ(checkPINAdvanced(client, std::string(32768, '0')), same);
  want(32769);
  EXPECT_EQ(checkPINAdvanced(client, std::string(32769, '0')), std::nullopt);
}

TEST_F(PinRulesTest, LengthAtTheEdgeOfItsRange) {
  want(std::numeric_limits<std::int64_t>::min());
  EXPECT_FALSE(checkPIN(client, "1"));
  EXPECT_EQ(checkPINAdvanced(client, "1"), std::nullopt);
  want(std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(checkPINAdvanced(client, "1"), std::nullopt);
}

TEST_F(PinRulesTest, WhatAPinLacksIsSaidInAFewWords) {
  want(6, 2, 1);
  const std::pair<const char*, const char*> rows[] = {{"", "6 more characters"},
                                                      {"Ab123", "1 more character"},
                                                      {"Ab12345", "Too long"},
                                                      {"Ab1234", "At least 2 uppercase letters"},
                                                      {"AB1234", "At least 1 lowercase letter"}};
  for (const auto& [pin, words] : rows) EXPECT_EQ(pinProblem(client, pin), words) << pin;
  EXPECT_EQ(pinProblem(client, "ABc123"), std::nullopt);
  want(4);
  EXPECT_EQ(pinProblem(client, "1234"), "Too weak: a rising sequence");
  EXPECT_EQ(pinProblem(client, "4321"), "Too weak: a falling sequence");
  EXPECT_EQ(pinProblem(client, "7777"), "Too weak: all characters are the same");
  EXPECT_EQ(pinProblem(client, "1357"), std::nullopt);
  EXPECT_TRUE(gateway.lines.empty());
}

// Whatever the two others refuse, and nothing else.
TEST_F(PinRulesTest, PinLacksNothingWhenBothRulesTakeIt) {
  gateway.listening = false;
  for (const std::int64_t length : {-1, 0, 1, 2, 4}) {
    want(length, length > 1 ? 1 : 0, length > 2 ? 1 : 0);
    for (const char* pin : {"", "1", "A", "AB", "BA", "AA", "A1", "ab", "ABCD", "AbCd", "Ab12",
                            "DCBA", "1234", "\xC3\x89\xC3\xA9"}) {
      const bool taken = checkPIN(client, pin) && !checkPINAdvanced(client, pin);
      EXPECT_EQ(!pinProblem(client, pin), taken) << length << ' ' << pin;
    }
  }
  client.bUSERCREATEPIN = false;
  EXPECT_EQ(pinProblem(client, "1"), std::nullopt);
}

TEST_F(PinRulesTest, AnswersOfThreeToThirteenCharacters) {
  EXPECT_EQ(checkAnswers(client, {"abc", "abcdefghijklm", ""}), std::nullopt);
  EXPECT_EQ(checkAnswers(client, {"ab", "abc", ""}), short_answer);
  EXPECT_EQ(checkAnswers(client, {"abc", "", ""}), short_answer);
  EXPECT_EQ(checkAnswers(client, {"abcdefghijklmn", "abc", ""}), long_answer);
  EXPECT_EQ(checkAnswers(client, {"abc", "abcdefghijklmn", ""}), long_answer);
}

TEST_F(PinRulesTest, ShortAnswerIsToldBeforeALongOne) {
  EXPECT_EQ(checkAnswers(client, {"abcdefghijklmn", "ab", ""}), short_answer);
}

TEST_F(PinRulesTest, ThirdAnswerCountsWhenItIsAsked) {
  EXPECT_EQ(checkAnswers(client, {"abc", "abc", "abcdefghijklmn"}), std::nullopt);
  client.QUESTIONS3 = TaEnrolClient::Questions{};
  EXPECT_EQ(checkAnswers(client, {"abc", "abc", "abcdefghijklmn"}), long_answer);
  EXPECT_EQ(checkAnswers(client, {"abc", "abc", "ab"}), short_answer);
  EXPECT_EQ(checkAnswers(client, {"abc", "abc", "abc"}), std::nullopt);
}

// Characters are UTF-16 units: a key (U+1F511) has two.
TEST_F(PinRulesTest, AnswersAreCountedInUnits) {
  EXPECT_EQ(checkAnswers(client, {"\xC3\xA9\xC3\xA9", "abc", ""}), short_answer);
  EXPECT_EQ(checkAnswers(client, {"\xF0\x9F\x94\x91x", "abc", ""}), std::nullopt);
  std::string keys;
  for (int i = 0; i < 7; ++i) keys += "\xF0\x9F\x94\x91";
  EXPECT_EQ(checkAnswers(client, {keys, "abc", ""}), long_answer);
}

}  // namespace
}  // namespace talvane::test
