#include "config/clipboard_time.h"

#include <gtest/gtest.h>

#include <limits>

namespace talvane {
namespace {

constexpr std::int64_t greatest = std::numeric_limits<std::int64_t>::max();

TEST(ClipboardTime, LastsUntilThePasscodeExpires) {
  EXPECT_EQ(secondsInClipboard(60, 30), 30);
  EXPECT_EQ(secondsInClipboard(60, 11), 11);
}

TEST(ClipboardTime, LastsNoLongerThanTheSettingAllows) {
  EXPECT_EQ(secondsInClipboard(60, 65), 60);
  EXPECT_EQ(secondsInClipboard(5, 30), 5);
  EXPECT_EQ(secondsInClipboard(5, 2), 5);
  EXPECT_EQ(secondsInClipboard(greatest, 30), 30);
}

TEST(ClipboardTime, LastsLongEnoughToPaste) {
  for (const std::int64_t left : {std::int64_t{9}, std::int64_t{0}, std::int64_t{-3}}) {
    EXPECT_EQ(secondsInClipboard(60, left), 10) << left;
  }
}

TEST(ClipboardTime, ZeroMeansForGood) {
  for (const std::int64_t most : {std::int64_t{0}, std::int64_t{-1}}) {
    EXPECT_EQ(secondsInClipboard(most, 30), 0) << most;
  }
}

}  // namespace
}  // namespace talvane
