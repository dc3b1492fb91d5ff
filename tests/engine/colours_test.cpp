#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "engine/vane.h"
#include "tests/engine/engine_test.h"

namespace talvane {

void PrintTo(const Colour& colour, std::ostream* out) {
  *out << colour.red << ", " << colour.green << ", " << colour.blue;
}

namespace {

using test::Lines;

constexpr std::int32_t greatest = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t least = std::numeric_limits<std::int32_t>::min();

class ColoursTest : public test::EngineTest {
 protected:
  ColoursTest() { vane::InitColors(); }

  static bool allPeriod60(std::initializer_list<std::int32_t> periods) {
    std::vector<std::unique_ptr<SoftTokenInfo>> tokens;
    for (const std::int32_t period : periods) {
      tokens.push_back(std::make_unique<SoftTokenInfo>());
      tokens.back()->period = period;
    }
    tokens.emplace_back();
    return vane::bAllTokensArePeriod60(tokens);
  }

  static std::int32_t index(std::int32_t period, bool countdown60, std::int64_t time) {
    return vane::GetPasscodeColorForToken(test::makeToken("Mail", "", period), countdown60, time);
  }
};

TEST_F(ColoursTest, CountdownTable) {
  const Colour green{0, 1, 0};
  const Colour red{0.8F, 0, 0};
  const std::array<Colour, 30> expected{green,
                                        green,
                                        green,
                                        green,
                                        green,
                                        green,
                                        green,
                                        green,
                                        green,
                                        green,
                                        green,
                                        green,
                                        green,
                                        green,
                                        green,
                                        green,
                                        green,
                                        green,
                                        green,
                                        Colour{0.3F, 1, 0},
                                        Colour{0.6F, 1, 0},
                                        Colour{0.8F, 1, 0},
                                        Colour{0.8F, 0.8F, 0},
                                        Colour{0.8F, 0.6F, 0},
                                        Colour{0.8F, 0.3F, 0},
                                        red,
                                        red,
                                        red,
                                        red,
                                        red};
  for (std::int32_t second = 0; second < 30; ++second) {
    EXPECT_EQ(vane::ColorForValue(second), expected.at(static_cast<std::size_t>(second))) << second;
  }
}

TEST_F(ColoursTest, PasscodeTable) {
  const Colour red{0.8F, 0, 0};
  for (std::int32_t second = 0; second < 22; ++second) {
    EXPECT_EQ(vane::ColorForValue2(second), Colour()) << second;
  }
  EXPECT_EQ(vane::ColorForValue2(22), (Colour{0.2F, 0, 0}));
  EXPECT_EQ(vane::ColorForValue2(23), (Colour{0.4F, 0, 0}));
  EXPECT_EQ(vane::ColorForValue2(24), (Colour{0.6F, 0, 0}));
  for (std::int32_t second = 25; second < 30; ++second) {
    EXPECT_EQ(vane::ColorForValue2(second), red) << second;
  }
}

TEST_F(ColoursTest, IndexOutsideTheTablesReadsAsTheNearestEnd) {
  for (const std::int32_t below : {-1, -20, -30, least}) {
    EXPECT_EQ(vane::ColorForValue(below), (Colour{0, 1, 0})) << below;
    EXPECT_EQ(vane::ColorForValue2(below), Colour()) << below;
  }
  for (const std::int32_t above : {30, 59, greatest}) {
    EXPECT_EQ(vane::ColorForValue(above), (Colour{0.8F, 0, 0})) << above;
    EXPECT_EQ(vane::ColorForValue2(above), (Colour{0.8F, 0, 0})) << above;
  }
}

TEST_F(ColoursTest, BuildingTheTablesAgainChangesNothing) {
  vane::InitColors();
  EXPECT_EQ(vane::ColorForValue(22), (Colour{0.8F, 0.8F, 0}));
  EXPECT_EQ(vane::ColorForValue2(22), (Colour{0.2F, 0, 0}));
}

TEST_F(ColoursTest, EveryRowOfTheIndexTable) {
  for (const auto& row : test::readVectors("colour_index.tsv", 4, 60)) {
    ASSERT_TRUE(row[1] == "0" || row[1] == "1") << row;
    EXPECT_EQ(index(std::stoi(row[0]), row[1] == "1", std::stoll(row[2])), std::stoi(row[3]))
        << row;
  }
}

TEST_F(ColoursTest, ThirtySecondTokenOnThirtySecondsAtSecond25IsRed) {
  EXPECT_EQ(index(30, false, 25), 25);
  EXPECT_EQ(index(30, false, 1700000005), 25);
  EXPECT_EQ(vane::ColorForValue2(index(30, false, 25)), (Colour{0.8F, 0, 0}));
}

TEST_F(ColoursTest, SixtySecondTokenOnThirtySeconds) {
  EXPECT_EQ(index(60, false, 10), 0);
  EXPECT_EQ(index(60, false, 50), 20);
  EXPECT_EQ(index(60, false, 29), 0);
  EXPECT_EQ(index(60, false, 30), 0);
  EXPECT_EQ(index(60, false, 31), 1);
  EXPECT_EQ(index(60, false, 59), 29);
}

TEST_F(ColoursTest, SixtySecondTokenOnSixtySeconds) {
  EXPECT_EQ(index(60, true, 45), 15);
  EXPECT_EQ(index(60, true, 10), -20);
  EXPECT_EQ(index(60, true, 0), -30);
  EXPECT_EQ(index(60, true, 29), -1);
  EXPECT_EQ(index(60, true, 30), 0);
  EXPECT_EQ(index(60, true, 59), 29);
}

TEST_F(ColoursTest, ThirtySecondTokenOnSixtySecondsIsAlwaysZero) {
  EXPECT_EQ(index(30, true, 0), 0);
  EXPECT_EQ(index(30, true, 29), 0);
}

TEST_F(ColoursTest, AnyOtherPeriodOnThirtySecondsIsTheRemainder) {
  EXPECT_EQ(index(45, false, 44), 44);
  EXPECT_EQ(index(45, false, 45), 0);
}

TEST_F(ColoursTest, RemainderIsSigned) {
  EXPECT_EQ(index(30, false, -5), -5);
  EXPECT_EQ(index(60, true, -5), -35);
}

TEST_F(ColoursTest, LinesOnSixtySeconds) {
  index(60, true, 45);
  EXPECT_EQ(gateway.lines,
            (Lines{"COMMON::GetPasscodeColor: begin: token:'Mail' bCountdown60:1 time:45",
                   "COMMON::GetPasscodeColor: branch: 60 second countdown, 60 second token, "
                   "remainder>=30",
                   "COMMON::GetPasscodeColor: end:15"}));
}

TEST_F(ColoursTest, LinesOnSixtySecondsInTheFirstHalf) {
  index(60, true, 10);
  EXPECT_EQ(gateway.lines,
            (Lines{"COMMON::GetPasscodeColor: begin: token:'Mail' bCountdown60:1 time:10",
                   "COMMON::GetPasscodeColor: branch: 60 second countdown, 60 second token, "
                   "remainder<30",
                   "COMMON::GetPasscodeColor: branch: 60 second countdown, 60 second token, "
                   "remainder>=30",
                   "COMMON::GetPasscodeColor: end:-20"}));
}

TEST_F(ColoursTest, LinesOfAThirtySecondTokenOnSixtySeconds) {
  index(30, true, 10);
  EXPECT_EQ(gateway.lines,
            (Lines{"COMMON::GetPasscodeColor: begin: token:'Mail' bCountdown60:1 time:10",
                   "COMMON::GetPasscodeColor: branch 60 second countdown, 30 second token "
                   "(unexpected!)",
                   "COMMON::GetPasscodeColor: end:0"}));
}

TEST_F(ColoursTest, LinesOnThirtySeconds) {
  index(60, false, 50);
  index(60, false, 10);
  index(30, false, 25);
  EXPECT_EQ(gateway.lines,
            (Lines{"COMMON::GetPasscodeColor: begin: token:'Mail' bCountdown60:0 time:50",
                   "COMMON::GetPasscodeColor: branch 30 second countdown, 30 second token, "
                   "remainder>=30",
                   "COMMON::GetPasscodeColor: end:20",
                   "COMMON::GetPasscodeColor: begin: token:'Mail' bCountdown60:0 time:10",
                   "COMMON::GetPasscodeColor: branch 30 second countdown, 60 second token, "
                   "remainder<30",
                   "COMMON::GetPasscodeColor: end:0",
                   "COMMON::GetPasscodeColor: begin: token:'Mail' bCountdown60:0 time:25",
                   "COMMON::GetPasscodeColor: branch 30 second countdown, 30 second token",
                   "COMMON::GetPasscodeColor: end:25"}));
}

TEST_F(ColoursTest, LinesAtTheHalfMinute) {
  index(60, false, 30);
  index(60, true, 30);
  EXPECT_EQ(gateway.lines,
            (Lines{"COMMON::GetPasscodeColor: begin: token:'Mail' bCountdown60:0 time:30",
                   "COMMON::GetPasscodeColor: branch 30 second countdown, 30 second token, "
                   "remainder>=30",
                   "COMMON::GetPasscodeColor: end:0",
                   "COMMON::GetPasscodeColor: begin: token:'Mail' bCountdown60:1 time:30",
                   "COMMON::GetPasscodeColor: branch: 60 second countdown, 60 second token, "
                   "remainder>=30",
                   "COMMON::GetPasscodeColor: end:0"}));
}

TEST_F(ColoursTest, TokenWithoutANameIsLoggedAsNil) {
  vane::GetPasscodeColorForToken(SoftTokenInfo(), false, 0);
  EXPECT_EQ(gateway.lines.front(),
            "COMMON::GetPasscodeColor: begin: token:'(null)' bCountdown60:0 time:0");
}

TEST_F(ColoursTest, HostilePeriodsAndTimesDoNotCrash) {
  for (const std::int32_t period : {0, -1, -30, least, greatest, 1}) {
    for (const std::int64_t time :
         {std::int64_t{0}, std::int64_t{-1}, std::numeric_limits<std::int64_t>::min(),
          std::numeric_limits<std::int64_t>::max()}) {
      for (const bool countdown60 : {false, true}) {
        const std::int32_t colour = index(period, countdown60, time);
        vane::ColorForValue(colour);
        vane::ColorForValue2(colour);
        if (period == 1) {
          EXPECT_EQ(colour, 0);
        }
      }
    }
  }
}

TEST_F(ColoursTest, AllTokensHaveThePeriodSixtyUnlessOneHasThirty) {
  EXPECT_FALSE(allPeriod60({60, 60, 30}));
  EXPECT_TRUE(allPeriod60({60, 45}));
  EXPECT_TRUE(allPeriod60({60}));
  EXPECT_FALSE(allPeriod60({30}));
  EXPECT_FALSE(allPeriod60({30, 60}));
  EXPECT_TRUE(allPeriod60({-30, 0, 31, 29}));
}

TEST_F(ColoursTest, NoTokensCountAsPeriodSixty) {
  EXPECT_TRUE(allPeriod60({}));
  EXPECT_TRUE(vane::bAllTokensArePeriod60({}));
  EXPECT_TRUE(vane::bAllTokensArePeriod60(vane::TokenArray()));
}

TEST_F(ColoursTest, TokensBehindTheFirstNullDoNotCount) {
  vane::TokenArray tokens;
  tokens[0] = std::make_unique<SoftTokenInfo>();
  tokens[0]->period = 60;
  tokens[2] = std::make_unique<SoftTokenInfo>();
  EXPECT_TRUE(vane::bAllTokensArePeriod60(tokens));
}

TEST_F(ColoursTest, FullArrayHasNoNullAtItsEnd) {
  vane::TokenArray tokens;
  for (auto& token : tokens) {
    token = std::make_unique<SoftTokenInfo>();
    token->period = 60;
  }
  EXPECT_TRUE(vane::bAllTokensArePeriod60(tokens));
  tokens[31]->period = 30;
  EXPECT_FALSE(vane::bAllTokensArePeriod60(tokens));
}

}  // namespace
}  // namespace talvane
