#include "ui/panel/panel_geometry.h"

#include <gtest/gtest.h>

#include "tests/ui/frames.h"

namespace talvane {

namespace {

using Places = std::vector<Place>;

TEST(PanelHeight, TokenView) {
  const std::pair<int, int> by_tokens[] = {{0, 128}, {1, 156}, {2, 228}, {10, 804}, {32, 2388}};
  for (const auto& [tokens, height] : by_tokens) {
    EXPECT_EQ(tokenViewHeight(tokens), height) << tokens;
  }
}

TEST(PanelHeight, WordsUnderTheRowsMakeTheTokenViewHigher) {
  EXPECT_EQ(tokenViewHeight(1, 30), 156 + 30 + 8);
  EXPECT_EQ(tokenViewHeight(32, 1), 2388 + 1 + 8);
}

TEST(PanelHeight, WordsInPlaceOfRowsHave16PointsAboveAndBelow) {
  EXPECT_EQ(tokenViewHeight(0, 200), 34 + 16 + 200 + 16 + 34);
  EXPECT_EQ(tokenViewHeight(0, 15), 128);
}

TEST(PanelHeight, ManagementView) {
  const std::pair<int, int> by_tokens[] = {{0, 128}, {1, 128}, {2, 146}, {10, 386}, {32, 1046}};
  for (const auto& [tokens, height] : by_tokens) {
    EXPECT_EQ(managementViewHeight(tokens), height) << tokens;
  }
}

TEST(PanelHeight, OtherViews) {
  EXPECT_EQ(add_view_height, 160);
  EXPECT_EQ(manual_view_height, 200);
  EXPECT_EQ(response_view_height, 200);
  EXPECT_EQ(authentication_view_height, 270);
  EXPECT_EQ(help_view_height, 246);
  EXPECT_EQ(address_view_height, 270);
  EXPECT_EQ(other_view_height, 500);
}

TEST(PanelFrames, Bands) {
  EXPECT_EQ(logoFrame(), (Frame{0, 0, 260, 34}));
  EXPECT_EQ(toolbarFrame(156), (Frame{0, 122, 260, 34}));
  EXPECT_EQ(tileFrame(156), (Frame{0, 34, 260, 88}));
}

TEST(PanelFrames, BandsMeetWithoutAGap) {
  for (const int height : {128, 156, 246, 2388}) {
    EXPECT_EQ(logoFrame().y + logoFrame().height, tileFrame(height).y);
    EXPECT_EQ(tileFrame(height).y + tileFrame(height).height, toolbarFrame(height).y);
    EXPECT_EQ(toolbarFrame(height).y + toolbarFrame(height).height, height);
  }
}

TEST(PanelFrames, WhatIsBetweenTheBands) {
  EXPECT_EQ(withoutBands({0, 0, 260, 156}), (Frame{0, 34, 260, 88}));
  EXPECT_EQ(withoutBands({7, 5, 100, 68}), (Frame{7, 39, 100, 0}));
}

TEST(PanelFrames, ToolbarButtons) {
  EXPECT_EQ(toolbarButtonFrame(ToolbarSlot::left), (Frame{5, 0, 80, 32}));
  EXPECT_EQ(toolbarButtonFrame(ToolbarSlot::centre), (Frame{90, 0, 80, 32}));
  EXPECT_EQ(toolbarButtonFrame(ToolbarSlot::right), (Frame{175, 0, 80, 32}));
}

TEST(PanelFrames, CloseButton) {
  EXPECT_EQ(close_button_frame, (Frame{244, 7, 12, 12}));
}

TEST(PanelFrames, TokenRows) {
  EXPECT_EQ(tokenRowFrame(0), (Frame{36, 12, 212, 60}));
  EXPECT_EQ(tokenRowFrame(1), (Frame{36, 84, 212, 60}));
  EXPECT_EQ(tokenRowFrame(2), (Frame{36, 156, 212, 60}));
  EXPECT_EQ(tokenRowFrame(31), (Frame{36, 2244, 212, 60}));
}

TEST(PanelFrames, PartsOfATokenRow) {
  EXPECT_EQ(description_frame, (Frame{0, 5, 212, 20}));
  EXPECT_EQ(passcode_frame, (Frame{0, 30, 212, 40}));
  EXPECT_EQ(copy_button_frame, (Frame{159, 35, 48, 20}));
}

TEST(PanelFrames, ThreeTokensHaveABarOf204) {
  EXPECT_EQ(countdownFrame(3), (Frame{12, 12, 12, 204}));
}

TEST(PanelFrames, TheBarSpansFromTheFirstRowToTheLast) {
  for (const int tokens : {1, 2, 10, 32}) {
    const Frame bar = countdownFrame(tokens);
    const Frame last = tokenRowFrame(tokens - 1);
    EXPECT_EQ(bar.y, tokenRowFrame(0).y);
    EXPECT_EQ(bar.y + bar.height, last.y + last.height) << tokens;
  }
}

TEST(PanelFrames, WordsInPlaceOfRowsFillTheRoomBetweenTheBands) {
  EXPECT_EQ(noticeFrame(0, 15), (Frame{12, 34, 236, 60}));
  EXPECT_EQ(noticeFrame(0, 200), (Frame{12, 34, 236, 232}));
}

TEST(PanelFrames, WordsUnderTheRowsAre12PointsFromThemAndFromTheToolbar) {
  for (const int tokens : {1, 2, 31}) {
    const Frame last = tokenRowFrame(tokens - 1);
    const Frame words = noticeFrame(tokens, 30);
    EXPECT_EQ(words.y, band_height + last.y + last.height + 12) << tokens;
    EXPECT_EQ(words.y + words.height + 12, toolbarFrame(tokenViewHeight(tokens, 30)).y) << tokens;
    EXPECT_EQ(words.x, 12);
    EXPECT_EQ(words.width, 236);
    EXPECT_EQ(words.height, 30);
  }
}

TEST(PanelFrames, ManagementRows) {
  EXPECT_EQ(managementFieldFrame(0), (Frame{20, 12, 180, 20}));
  EXPECT_EQ(managementFieldFrame(2), (Frame{20, 72, 180, 20}));
  EXPECT_EQ(managementCheckboxFrame(0), (Frame{212, 12, 180, 20}));
  EXPECT_EQ(managementCheckboxFrame(31), (Frame{212, 942, 180, 20}));
}

TEST(PanelFrames, TurnedIsItsOwnInverse) {
  EXPECT_EQ(flipped({5, 10, 80, 32}, 156), (Frame{5, 114, 80, 32}));
  for (const Frame& frame : {Frame{5, 0, 80, 32}, Frame{-3, -7, 1, 0}, Frame{0, 800, 260, 2388}}) {
    EXPECT_EQ(flipped(flipped(frame, 800), 800), frame);
  }
}

TEST(PanelPlace, RolledPanelStartsAboveItsPlace) {
  EXPECT_EQ(defaultPlace({1080, 1920}, 156, true), (Place{1650, 1058}));
}

TEST(PanelPlace, PanelWithoutRollHangsUnderTheMenuBar) {
  EXPECT_EQ(defaultPlace({1080, 1920}, 156, false), (Place{1650, 902}));
}

TEST(PanelPlace, NoScreenCountsAsNothing) {
  EXPECT_EQ(defaultPlace({}, 156, false), (Place{-270, -178}));
  EXPECT_EQ(defaultPlace({}, 156, true), (Place{-270, -22}));
}

TEST(PanelRoll, OpeningStepsByTheChunkAndEndsExactly) {
  // 156 / 10: chunks of 15, and 6 are left for the end.
  const Places expected{{1650, 1043}, {1650, 1028}, {1650, 1013}, {1650, 998},
                        {1650, 983},  {1650, 968},  {1650, 953},  {1650, 938},
                        {1650, 923},  {1650, 908},  {1650, 902}};
  EXPECT_EQ(openingRoll({1650, 1058}, 156, 10), expected);
}

TEST(PanelRoll, ClosingCarriesTheRestInTheLastOfTenSteps) {
  const Places expected{{1650, 917}, {1650, 932},  {1650, 947},  {1650, 962},  {1650, 977},
                        {1650, 992}, {1650, 1007}, {1650, 1022}, {1650, 1037}, {1650, 1058}};
  EXPECT_EQ(closingRoll({1650, 902}, 156, 10), expected);
}

TEST(PanelRoll, ChunkIsTheHeightByTheSteps) {
  EXPECT_EQ(rollChunk(156, 10), 15);
  EXPECT_EQ(rollChunk(156, 157), 0);
  EXPECT_EQ(rollChunk(156, -10), -15);
  EXPECT_EQ(rollChunk(156, 0), 0);
}

TEST(PanelRoll, NoSteps) {
  EXPECT_EQ(openingRoll({5, 1000}, 156, 0), (Places{{5, 844}}));
  EXPECT_EQ(closingRoll({5, 844}, 156, 0), Places());
}

TEST(PanelRoll, NegativeSteps) {
  for (const std::int64_t steps : {std::int64_t{-1}, std::int64_t{-10}, INT64_MIN}) {
    EXPECT_EQ(openingRoll({5, 1000}, 156, steps), (Places{{5, 844}}));
    EXPECT_EQ(closingRoll({5, 844}, 156, steps), Places());
  }
}

TEST(PanelRoll, OneStep) {
  EXPECT_EQ(openingRoll({5, 1000}, 156, 1), (Places{{5, 844}, {5, 844}}));
  EXPECT_EQ(closingRoll({5, 844}, 156, 1), (Places{{5, 1000}}));
}

TEST(PanelRoll, MoreStepsThanPointsStayUntilTheLast) {
  EXPECT_EQ(openingRoll({5, 1000}, 3, 4),
            (Places{{5, 1000}, {5, 1000}, {5, 1000}, {5, 1000}, {5, 997}}));
  EXPECT_EQ(closingRoll({5, 997}, 3, 4), (Places{{5, 997}, {5, 997}, {5, 997}, {5, 1000}}));
}

TEST(PanelRoll, HugeCountsOfStepsEndAllTheSame) {
  const Places opening = openingRoll({5, 1000}, 156, INT64_MAX);
  const Places closing = closingRoll({5, 844}, 156, INT64_MAX);
  EXPECT_LE(opening.size(), 1'000'000U);
  EXPECT_LE(closing.size(), 1'000'000U);
  EXPECT_EQ(opening.back(), (Place{5, 844}));
  EXPECT_EQ(closing.back(), (Place{5, 1000}));
}

// A panel of 804 below 22 on a screen of 800: its upper edge may go up to -4.
TEST(Scrolling, AHighPanelMovesUntilItsEndIsOnTheScreen) {
  EXPECT_EQ(scrolledTop(22, -10, 22, 804, 800), 12);
  EXPECT_EQ(scrolledTop(22, -72, 22, 804, 800), -4);
  EXPECT_EQ(scrolledTop(-4, -1, 22, 804, 800), -4);
}

TEST(Scrolling, AHighPanelMovesBackToItsPlaceAndNotFurther) {
  EXPECT_EQ(scrolledTop(-4, 10, 22, 804, 800), 6);
  EXPECT_EQ(scrolledTop(-4, 72, 22, 804, 800), 22);
}

TEST(Scrolling, APanelThatFitsStays) {
  EXPECT_EQ(scrolledTop(22, -72, 22, 156, 800), 22);
  EXPECT_EQ(scrolledTop(22, 72, 22, 156, 800), 22);
  EXPECT_EQ(scrolledTop(22, -72, 22, 778, 800), 22);
}

TEST(Scrolling, WhatIsVisibleNeedsNoMovement) {
  EXPECT_EQ(movementToShow(46, 106, 22, 22, 800), 0);
  EXPECT_EQ(movementToShow(0, 778, 22, 22, 800), 0);
}

TEST(Scrolling, WhatIsBelowTheScreenComesUp) {
  EXPECT_EQ(movementToShow(700, 800, 22, 22, 800), -22);
}

TEST(Scrolling, WhatIsAboveTheMenuBarComesDown) {
  EXPECT_EQ(movementToShow(46, 106, -100, 22, 800), 76);
}

}  // namespace
}  // namespace talvane
