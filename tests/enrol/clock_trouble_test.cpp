#include "enrol/clock_trouble.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace talvane::test {
namespace {

bool says(std::int64_t server_ahead, const std::string& words) {
  const auto text = clockTrouble(server_ahead);
  return text && text->find(words) != std::string::npos;
}

TEST(ClockTroubleTest, TwentySecondsMatterToNoPasscode) {
  for (const std::int64_t ahead : {0, 1, -1, 19, -19, 20, -20}) {
    EXPECT_EQ(clockTrouble(ahead), std::nullopt) << ahead;
  }
}

TEST(ClockTroubleTest, MoreThanTwentyDoBothWays) {
  EXPECT_TRUE(says(21, "clock is 21 seconds behind the server's"));
  EXPECT_TRUE(says(-21, "clock is 21 seconds ahead of the server's"));
}

TEST(ClockTroubleTest, LongerSpansAreToldInLongerUnits) {
  EXPECT_TRUE(says(119, "119 seconds behind"));
  EXPECT_TRUE(says(120, "2 minutes behind"));
  EXPECT_TRUE(says(-7199, "119 minutes ahead of"));
  EXPECT_TRUE(says(7200, "2 hours behind"));
  EXPECT_TRUE(says(-172799, "47 hours ahead of"));
  EXPECT_TRUE(says(172800, "2 days behind"));
}

TEST(ClockTroubleTest, FarthestClocks) {
  EXPECT_TRUE(says(std::numeric_limits<std::int64_t>::max(), "days behind"));
  EXPECT_TRUE(says(std::numeric_limits<std::int64_t>::min() + 1, "days ahead of"));
  EXPECT_TRUE(says(std::numeric_limits<std::int64_t>::min(), "days ahead of"));
}

}  // namespace
}  // namespace talvane::test
