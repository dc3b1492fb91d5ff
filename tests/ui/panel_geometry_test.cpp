#include "ui/panel/panel_geometry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "tests/ui/frames.h"

namespace talvane {

namespace {

using Places = std::vector<Place>;

constexpr Frame screen_1280{0, 0, 1280, 800};
constexpr Frame second_1280{1280, 0, 1280, 800};

TEST(PanelHeight, TokenView) {
  const std::pair<int, int> by_tokens[] = {{0, 128}, {1, 156}, {2, 228}, {10, 804}, {32, 2388}};
  for (const auto& [tokens, height] : by_tokens) {
    EXPECT_EQ(tokenViewHeight(tokens), height) << tokens;
  }
}

TEST(PanelHeight, WordsAboveTheRowsMakeTheTokenViewHigher) {
  EXPECT_EQ(tokenViewHeight(1, 30), 156 + 30 + 12);
  EXPECT_EQ(tokenViewHeight(32, 1), 2388 + 1 + 12);
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
  EXPECT_EQ(toolbarButtonFrame(ToolbarSlot::wide), (Frame{90, 0, 165, 32}));
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

TEST(PanelFrames, WordsAboveTheRowsAre12PointsFromThemAndFromTheLogo) {
  for (const int tokens : {1, 2, 31}) {
    const int offset = rowsOffset(tokens, 30);
    const Frame first = tokenRowFrame(0);
    const Frame last = tokenRowFrame(tokens - 1);
    const Frame words = noticeFrame(tokens, 30);
    EXPECT_EQ(words.y, band_height + 12) << tokens;
    EXPECT_EQ(words.y + words.height + 12, band_height + offset + first.y) << tokens;
    // As much room below the rows as without the words.
    EXPECT_EQ(toolbarFrame(tokenViewHeight(tokens, 30)).y - band_height - offset - last.y,
              toolbarFrame(tokenViewHeight(tokens)).y - band_height - last.y)
        << tokens;
    EXPECT_EQ(words.x, 12);
    EXPECT_EQ(words.width, 236);
    EXPECT_EQ(words.height, 30);
  }
}

TEST(PanelFrames, RowsStandAsEverWithoutWords) {
  EXPECT_EQ(rowsOffset(3, 0), 0);
  EXPECT_EQ(rowsOffset(0, 30), 0);
}

TEST(PanelFrames, UnlockButtonStandsUnderTheWordsBothInTheMiddle) {
  for (const int height : {15, 45, 90}) {
    const Frame words = lockedFrame(height);
    const Frame button = unlockFrame(height);
    const Frame toolbar = toolbarFrame(tokenViewHeight(0, height + unlock_room));
    EXPECT_EQ(words.height, height);
    EXPECT_EQ(button.y, words.y + words.height + 10);
    EXPECT_EQ(button.x + button.width / 2, panel_width / 2);
    EXPECT_NEAR(words.y - band_height, toolbar.y - button.y - button.height, 1);
  }
}

TEST(PanelFrames, HintThatFitsLeavesTheHeightAlone) {
  EXPECT_EQ(hintedViewHeight(15), 128);
  EXPECT_EQ(hintedViewHeight(52), 128);
  EXPECT_EQ(hintedViewHeight(60), 136);
  EXPECT_EQ(hintFrame(45), (Frame{12, 34, 236, 60}));
}

TEST(PanelFrames, ManagementRows) {
  EXPECT_EQ(managementFieldFrame(0), (Frame{20, 12, 180, 20}));
  EXPECT_EQ(managementFieldFrame(2), (Frame{20, 72, 180, 20}));
  EXPECT_EQ(managementCheckboxFrame(0), (Frame{212, 12, 180, 20}));
  EXPECT_EQ(managementCheckboxFrame(31), (Frame{212, 942, 180, 20}));
  EXPECT_EQ(managementResponseFrame(2), (Frame{235, 72, 20, 20}));
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

// The desktop.

// A dock, as it tells of itself: in pixels, from the display's edge.
TEST(WorkArea, DocksAreCutOff) {
  const Frame screen{0, 0, 1280, 800};
  const struct {
    const char* what;
    std::vector<Strut> struts;
    Frame work;
  } rows[] = {
      {"top", {{Edge::top, 40, 0, 1279}}, {0, 40, 1280, 760}},
      {"bottom", {{Edge::bottom, 36, 0, 1279}}, {0, 0, 1280, 764}},
      {"left", {{Edge::left, 60, 0, 799}}, {60, 0, 1220, 800}},
      {"right", {{Edge::right, 60, 0, 799}}, {0, 0, 1220, 800}},
      {"top and bottom",
       {{Edge::top, 26, 0, 1279}, {Edge::bottom, 48, 300, 900}},
       {0, 26, 1280, 726}},
      {"two at the top", {{Edge::top, 26, 0, 639}, {Edge::top, 40, 640, 1279}}, {0, 40, 1280, 760}},
      {"nothing left", {{Edge::top, 500, 0, 1279}, {Edge::bottom, 500, 0, 1279}}, screen},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(workArea(screen, {screen, row.struts, {}}), row.work) << row.what;
  }
}

TEST(WorkArea, DocksOfOneScreenLeaveTheOthers) {
  const Frame left{0, 0, 1920, 1080};
  const Frame right{1920, 0, 1280, 800};
  const Frame display{0, 0, 3200, 1080};
  const struct {
    const char* what;
    Strut strut;
    Frame left_work;
    Frame right_work;
  } rows[] = {
      {"top of the right one", {Edge::top, 30, 1920, 3199}, left, {1920, 30, 1280, 770}},
      // The lower edge of the smaller screen is 280 above the display's.
      {"bottom of the right one", {Edge::bottom, 310, 1920, 3199}, left, {1920, 0, 1280, 770}},
      {"bottom of the left one", {Edge::bottom, 40, 0, 1919}, {0, 0, 1920, 1040}, right},
      {"left of the right one", {Edge::left, 1960, 0, 799}, left, {1960, 0, 1240, 800}},
      {"right of the left one", {Edge::right, 1320, 0, 1079}, {0, 0, 1880, 1080}, right},
      {"right of the right one", {Edge::right, 50, 0, 799}, left, {1920, 0, 1230, 800}},
  };
  for (const auto& row : rows) {
    const Bars bars{display, {row.strut}, {}};
    EXPECT_EQ(workArea(left, bars), row.left_work) << row.what;
    EXPECT_EQ(workArea(right, bars), row.right_work) << row.what;
  }
}

TEST(WorkArea, WithoutDocksTheWindowManagersCounts) {
  const Frame screen{0, 0, 1280, 800};
  EXPECT_EQ(workArea(screen, {screen, {}, {{0, 27, 1280, 773}}}), (Frame{0, 27, 1280, 773}));
  EXPECT_EQ(workArea({1280, 0, 1280, 800}, {{0, 0, 2560, 800}, {}, {{0, 27, 2560, 773}}}),
            (Frame{1280, 27, 1280, 773}));
  EXPECT_EQ(workArea(screen, {screen, {}, {{5000, 0, 10, 10}}}), screen) << "elsewhere";
  EXPECT_EQ(workArea(screen, {screen, {}, {}}), screen) << "unknown";
}

TEST(WorkArea, AWindowManagerMayTellOfEachScreen) {
  const Bars bars{{0, 0, 2560, 800}, {}, {{0, 30, 1280, 770}, {1280, 0, 1280, 760}}};
  EXPECT_EQ(workArea(screen_1280, bars), (Frame{0, 30, 1280, 770}));
  EXPECT_EQ(workArea(second_1280, bars), (Frame{1280, 0, 1280, 760}));
}

TEST(WorkArea, PixelsBecomePointsOfTheirScreen) {
  EXPECT_EQ(inPoints({0, 40, 1280, 760}, {0, 0}, 1), (Frame{0, 40, 1280, 760}));
  EXPECT_EQ(inPoints({0, 60, 2560, 1540}, {0, 0}, 2), (Frame{0, 30, 1280, 770}));
  EXPECT_EQ(inPoints({0, 33, 1920, 1167}, {0, 0}, 1.5), (Frame{0, 22, 1280, 778}));
  // A screen begins at its pixel in both.
  EXPECT_EQ(inPoints({1920, 60, 2560, 1540}, {1920, 0}, 2), (Frame{1920, 30, 1280, 770}));
}

Frame point(int x, int y) {
  return {x, y, 0, 0};
}

TEST(PanelAnchor, LiesOnAScreenOutsideItsWorkArea) {
  const ScreenArea top_bar{screen_1280, {0, 30, 1280, 770}};
  const ScreenArea bottom_bar{second_1280, {1280, 0, 1280, 760}};
  const std::vector<ScreenArea> screens{top_bar, bottom_bar};
  EXPECT_EQ(anchorAt({1200, 4, 22, 22}, screens), (Anchor{{1200, 4, 22, 22}, Edge::top, top_bar}));
  EXPECT_EQ(anchorAt(point(1200, 29), screens), (Anchor{point(1200, 29), Edge::top, top_bar}));
  EXPECT_EQ(anchorAt(point(2400, 760), screens),
            (Anchor{point(2400, 760), Edge::bottom, bottom_bar}));
  EXPECT_EQ(anchorAt(point(1200, 30), screens), std::nullopt) << "in the work area";
  EXPECT_EQ(anchorAt(point(1300, 28), screens), std::nullopt) << "on the other screen";
  EXPECT_EQ(anchorAt(point(0, 900), screens), std::nullopt) << "on no screen";
  EXPECT_EQ(anchorAt(point(0, 0), {}), std::nullopt);
}

TEST(PanelAnchor, TheBarIsAtTheSideWhereTheAnchorLies) {
  const ScreenArea all{screen_1280, {50, 30, 1180, 720}};
  const std::pair<Frame, Edge> rows[] = {{point(600, 10), Edge::top},
                                         {point(600, 760), Edge::bottom},
                                         {point(20, 400), Edge::left},
                                         {point(1250, 400), Edge::right}};
  for (const auto& [icon, edge] : rows) {
    EXPECT_EQ(anchorAt(icon, std::vector{all}), (Anchor{icon, edge, all})) << icon;
  }
}

// Programs that draw a bar without telling: as deep behind the icon as before it.
TEST(PanelAnchor, WhereNoBarIsKnownTheNearestEdgeHasIt) {
  const ScreenArea unknown{screen_1280, screen_1280};
  const struct {
    Frame icon;
    Edge edge;
    Frame work;
  } rows[] = {
      {{1200, 4, 22, 22}, Edge::top, {0, 30, 1280, 770}},
      {{1258, 0, 22, 22}, Edge::top, {0, 22, 1280, 778}},
      {{40, 773, 24, 24}, Edge::bottom, {0, 0, 1280, 770}},
      {{8, 700, 24, 24}, Edge::left, {40, 0, 1240, 800}},
      {{1250, 300, 24, 24}, Edge::right, {0, 0, 1244, 800}},
      {point(900, 15), Edge::top, {0, 30, 1280, 770}},
      {point(900, 3), Edge::top, {0, 22, 1280, 778}},
      {point(900, 90), Edge::top, {0, 96, 1280, 704}},
  };
  for (const auto& row : rows) {
    const auto anchor = anchorAt(row.icon, std::vector{unknown});
    ASSERT_TRUE(anchor) << row.icon;
    EXPECT_EQ(anchor->edge, row.edge) << row.icon;
    EXPECT_EQ(anchor->screen, (ScreenArea{screen_1280, row.work})) << row.icon;
  }
}

TEST(PanelAnchor, AMouseFarFromEveryEdgeIsOnNoBar) {
  const ScreenArea unknown{screen_1280, screen_1280};
  EXPECT_TRUE(anchorAt(point(900, 96), std::vector{unknown}));
  EXPECT_EQ(anchorAt(point(900, 97), std::vector{unknown}), std::nullopt);
  EXPECT_EQ(anchorAt(point(640, 400), std::vector{unknown}), std::nullopt);
  EXPECT_TRUE(anchorAt({640, 400, 22, 22}, std::vector{unknown})) << "an icon that shows";
}

TEST(PanelAnchor, AnIconInsideTheWorkAreaLiesInABarThatNobodyKnows) {
  const ScreenArea dock_at_the_left{screen_1280, {60, 0, 1220, 800}};
  const auto anchor = anchorAt({1200, 770, 24, 24}, std::vector{dock_at_the_left});
  ASSERT_TRUE(anchor);
  EXPECT_EQ(anchor->edge, Edge::bottom);
  EXPECT_EQ(anchor->screen.work, (Frame{60, 0, 1220, 764}));
}

TEST(PanelAnchor, StatusAreasAreAtTheRightOrLowerEndOfABar) {
  const std::pair<Frame, std::optional<std::pair<Frame, Edge>>> rows[] = {
      {{0, 27, 1280, 773}, {{point(1279, 0), Edge::top}}},
      {{0, 0, 1280, 756}, {{point(1279, 799), Edge::bottom}}},
      {{60, 0, 1220, 800}, {{point(0, 799), Edge::left}}},
      {{0, 0, 1220, 800}, {{point(1279, 799), Edge::right}}},
      {{0, 27, 1280, 700}, {{point(1279, 0), Edge::top}}},
      {screen_1280, std::nullopt},
  };
  for (const auto& [work, expected] : rows) {
    const ScreenArea screen{screen_1280, work};
    const auto anchor = anchorAtBar(std::vector{screen});
    ASSERT_EQ(anchor.has_value(), expected.has_value()) << work;
    if (!expected) continue;
    EXPECT_EQ(*anchor, (Anchor{expected->first, expected->second, screen})) << work;
  }
  const std::vector<ScreenArea> two{{screen_1280, screen_1280},
                                    {second_1280, {1280, 0, 1280, 760}}};
  EXPECT_EQ(anchorAtBar(two), (Anchor{point(2559, 799), Edge::bottom, two[1]}));
}

TEST(PanelAnchor, TheBestThatIsKnownCounts) {
  const std::vector<ScreenArea> screens{{screen_1280, {0, 30, 1280, 770}}};
  const Frame icon{1000, 4, 22, 22};
  const Place pointer{900, 10};
  EXPECT_EQ(anchorOf({icon, pointer, true}, screens), anchorAt(icon, screens));
  EXPECT_EQ(anchorOf({icon, {}, false}, screens), anchorAt(icon, screens)) << "a key";
  EXPECT_EQ(anchorOf({{}, pointer, true}, screens), anchorAt(point(900, 10), screens));
  EXPECT_EQ(anchorOf({Frame{0, -50, 22, 22}, pointer, true}, screens),
            anchorAt(point(900, 10), screens))
      << "an icon on no screen";
  EXPECT_EQ(anchorOf({{}, Place{900, 400}, true}, screens), anchorAtBar(screens))
      << "the mouse is elsewhere";
  EXPECT_EQ(anchorOf({{}, {}, true}, screens), anchorAtBar(screens));
  EXPECT_EQ(anchorOf({}, screens), std::nullopt) << "nothing was clicked";
}

// Desktops as they come: where the icon is clicked, and where the panel of one token opens.
TEST(PanelPlace, AtTheBarOfEachDesktop) {
  const Frame plain = screen_1280;
  const struct {
    const char* desktop;
    Frame screen;
    Frame work;
    Frame icon;
    Frame window;
    Edge edge;
  } rows[] = {
      {"GNOME", plain, {0, 27, 1280, 773}, point(1150, 13), {1010, 27, 260, 156}, Edge::top},
      {"XFCE", plain, {0, 26, 1280, 774}, {1090, 2, 22, 22}, {1010, 26, 260, 156}, Edge::top},
      {"MATE", plain, {0, 27, 1280, 746}, {1100, 2, 22, 22}, {1010, 27, 260, 156}, Edge::top},
      {"Plasma", plain, {0, 0, 1280, 756}, point(1100, 778), {1010, 600, 260, 156}, Edge::bottom},
      {"LXQt", plain, {0, 0, 1280, 768}, {1150, 773, 22, 22}, {1010, 612, 260, 156}, Edge::bottom},
      {"Cinnamon", plain, {0, 0, 1280, 760}, point(1120, 780), {1010, 604, 260, 156}, Edge::bottom},
      {"i3", plain, {0, 0, 1280, 781}, {1255, 783, 16, 16}, {1010, 625, 260, 156}, Edge::bottom},
      {"i3, bar at the top",
       plain,
       {0, 19, 1280, 781},
       {1255, 2, 16, 16},
       {1010, 22, 260, 156},
       Edge::top},
      {"sway", plain, {0, 30, 1280, 770}, point(1279, 0), {1010, 30, 260, 156}, Edge::top},
      {"tint2 of 22",
       plain,
       {0, 22, 1280, 778},
       {1200, 2, 18, 18},
       {1010, 22, 260, 156},
       Edge::top},
      {"tint2 of 60",
       plain,
       {0, 60, 1280, 740},
       {1200, 10, 40, 40},
       {1010, 60, 260, 156},
       Edge::top},
      {"tint2, in the middle",
       plain,
       {0, 40, 1280, 760},
       {600, 8, 24, 24},
       {482, 40, 260, 156},
       Edge::top},
      {"tint2, at the left end",
       plain,
       {0, 40, 1280, 760},
       {4, 8, 24, 24},
       {0, 40, 260, 156},
       Edge::top},
      {"tint2 below, at the left",
       plain,
       {0, 0, 1280, 760},
       {4, 768, 24, 24},
       {0, 604, 260, 156},
       Edge::bottom},
      {"tint2 at the left side",
       plain,
       {60, 0, 1220, 800},
       {18, 500, 24, 24},
       {60, 500, 260, 156},
       Edge::left},
      {"its lower end",
       plain,
       {60, 0, 1220, 800},
       {18, 770, 24, 24},
       {60, 644, 260, 156},
       Edge::left},
      {"tint2 at the right side",
       plain,
       {0, 0, 1220, 800},
       {1238, 10, 24, 24},
       {960, 10, 260, 156},
       Edge::right},
      {"left dock and top bar",
       plain,
       {60, 27, 1220, 773},
       {1100, 2, 22, 22},
       {1010, 27, 260, 156},
       Edge::top},
      {"right dock and top bar",
       plain,
       {0, 27, 1220, 773},
       {1100, 2, 22, 22},
       {950, 27, 260, 156},
       Edge::top},
      {"second screen, top",
       second_1280,
       {1280, 30, 1280, 770},
       {2500, 4, 22, 22},
       {2290, 30, 260, 156},
       Edge::top},
      {"second screen, bottom",
       second_1280,
       {1280, 0, 1280, 760},
       {1500, 770, 22, 22},
       {1381, 604, 260, 156},
       Edge::bottom},
      {"screen above",
       {0, -1080, 1920, 1080},
       {0, -1050, 1920, 1050},
       {1880, -1075, 22, 22},
       {1650, -1050, 260, 156},
       Edge::top},
      // 1920 by 1200 pixels at 1.5, and 2560 by 1600 at 2: 1280 by 800 points.
      {"scale 1.5, bar of 33 pixels",
       plain,
       inPoints({0, 33, 1920, 1167}, {0, 0}, 1.5),
       {1150, 2, 18, 18},
       {1010, 22, 260, 156},
       Edge::top},
      {"scale 2, bar of 88 pixels",
       plain,
       inPoints({0, 0, 2560, 1512}, {0, 0}, 2),
       point(1200, 780),
       {1010, 600, 260, 156},
       Edge::bottom},
      {"scale 2, second screen",
       {2560, 0, 1280, 800},
       inPoints({2560, 60, 2560, 1540}, {2560, 0}, 2),
       {3780, 4, 22, 22},
       {3570, 30, 260, 156},
       Edge::top},
  };
  for (const auto& row : rows) {
    const ScreenArea main{plain, plain};
    const ScreenArea screen{row.screen, row.work};
    std::vector screens{screen};
    if (row.screen != plain) screens.insert(screens.begin(), main);
    const auto anchor = anchorAt(row.icon, screens);
    ASSERT_TRUE(anchor) << row.desktop;
    EXPECT_EQ(panelPlace(anchor, main, 156), (PanelPlace{row.window, row.edge, row.screen}))
        << row.desktop;
  }
}

TEST(PanelPlace, WithoutAnAnchorItIsAtTheRightUnderTheMenuBar) {
  EXPECT_EQ(panelPlace({}, {screen_1280, screen_1280}, 156),
            (PanelPlace{{1010, 22, 260, 156}, Edge::top, screen_1280}));
  EXPECT_EQ(panelPlace({}, {screen_1280, {0, 40, 1230, 760}}, 156),
            (PanelPlace{{960, 40, 260, 156}, Edge::top, screen_1280}));
  EXPECT_EQ(panelPlace({}, {}, 156), (PanelPlace{{-270, 22, 260, 156}, Edge::top, {}}));
}

TEST(PanelPlace, TheIconsDistanceOf270Decides) {
  const ScreenArea screen{screen_1280, {0, 30, 1280, 770}};
  const std::pair<int, int> rows[] = {{1010, 1010}, {1009, 879}, {1279, 1010}};
  for (const auto& [icon, left] : rows) {
    const auto anchor = anchorAt(point(icon, 5), std::vector{screen});
    EXPECT_EQ(panelPlace(anchor, screen, 156).window.x, left) << icon;
  }
}

TEST(PanelPlace, WhatIsHigherThanTheWorkAreaFillsIt) {
  const struct {
    Frame work;
    Frame icon;
    Frame window;
  } rows[] = {
      {{0, 30, 1280, 770}, point(1200, 5), {1010, 30, 260, 770}},
      {{0, 10, 1280, 700}, point(1200, 5), {1010, 22, 260, 688}},
      {{0, 0, 1280, 760}, point(1200, 790), {1010, 0, 260, 760}},
      {{60, 0, 1220, 790}, point(10, 500), {60, 0, 260, 790}},
      {{0, 5, 1220, 795}, point(1270, 500), {960, 5, 260, 795}},
  };
  for (const auto& row : rows) {
    const ScreenArea screen{screen_1280, row.work};
    const auto anchor = anchorAt(row.icon, std::vector{screen});
    EXPECT_EQ(panelPlace(anchor, screen, 2388).window, row.window) << row.work;
  }
  EXPECT_EQ(panelPlace({}, {screen_1280, screen_1280}, 2388).window, (Frame{1010, 22, 260, 778}));
  EXPECT_EQ(panelPlace({}, {{0, 0, 300, 100}, {0, 0, 300, 100}}, 2388).window.height, 128)
      << "a screen that is too small for any panel";
}

TEST(PanelPlace, OriginIsTheLowerLeftCornerOnItsScreen) {
  const Frame window{1010, 30, 260, 156};
  EXPECT_EQ(originOf({window, Edge::top, screen_1280}, false), (Place{1010, 614}));
  EXPECT_EQ(originOf({window, Edge::top, screen_1280}, true), (Place{1010, 770}));
  EXPECT_EQ(originOf({window, Edge::bottom, screen_1280}, true), (Place{1010, 458}));
  EXPECT_EQ(originOf({window, Edge::left, screen_1280}, true), (Place{750, 614}));
  EXPECT_EQ(originOf({window, Edge::right, screen_1280}, true), (Place{1270, 614}));
  EXPECT_EQ(originOf({{1300, 30, 260, 156}, Edge::top, second_1280}, false), (Place{20, 614}));
}

TEST(PanelPlace, AgreesWithTheDefaultPlaceWithoutBars) {
  for (const bool roll : {false, true}) {
    EXPECT_EQ(originOf(panelPlace({}, {screen_1280, screen_1280}, 156), roll),
              defaultPlace({800, 1280}, 156, roll));
  }
}

TEST(PanelPlace, AGivenOriginIsTaken) {
  for (const bool roll : {false, true}) {
    const PanelPlace place = placeAt({30, 300}, screen_1280, 156, roll);
    EXPECT_EQ(originOf(place, roll), (Place{30, 300}));
    EXPECT_EQ(place.window.height, 156);
    EXPECT_EQ(place.edge, Edge::top);
  }
}

// The panel comes out from behind its bar: the part at the bar is the last to show.
TEST(PanelRoll, ShowsWhatHasComeOut) {
  const std::pair<Edge, RollStep> rows[] = {
      {Edge::top, {{0, 0, 260, 52}, {0, -104}}},
      {Edge::bottom, {{0, 104, 260, 52}, {0, 104}}},
      {Edge::left, {{0, 0, 86, 156}, {-174, 0}}},
      {Edge::right, {{174, 0, 86, 156}, {174, 0}}},
  };
  for (const auto& [edge, first] : rows) {
    const auto steps = openingSteps({{1010, 30, 260, 156}, edge, screen_1280}, 3);
    ASSERT_EQ(steps.size(), 4U);
    EXPECT_EQ(steps.front(), first);
    EXPECT_EQ(steps.back(), (RollStep{{0, 0, 260, 156}, {0, 0}}));
  }
}

TEST(PanelRoll, ClosingEndsWithNothing) {
  for (const Edge edge : {Edge::top, Edge::bottom, Edge::left, Edge::right}) {
    const auto closing = closingSteps({{1010, 30, 260, 156}, edge, screen_1280}, 10);
    ASSERT_EQ(closing.size(), 10U);
    const Frame& last = closing.back().visible;
    EXPECT_EQ(std::min(last.width, last.height), 0);
  }
  EXPECT_TRUE(closingSteps({{1010, 30, 260, 156}, Edge::top, screen_1280}, 0).empty());
}

TEST(PanelRoll, StepsFollowThePlacesOfTheRoll) {
  const PanelPlace place{{1010, 30, 260, 156}, Edge::top, screen_1280};
  const Places opening = openingRoll({0, 156}, 156, 10);
  const Places closing = closingRoll({0, 0}, 156, 10);
  const auto opening_steps = openingSteps(place, 10);
  const auto closing_steps = closingSteps(place, 10);
  ASSERT_EQ(opening_steps.size(), opening.size());
  ASSERT_EQ(closing_steps.size(), closing.size());
  for (std::size_t i = 0; i < opening.size(); ++i) {
    EXPECT_EQ(opening_steps[i].visible.height, 156 - opening[i].y);
    EXPECT_EQ(opening_steps[i].content.y, -opening[i].y);
  }
  for (std::size_t i = 0; i < closing.size(); ++i) {
    EXPECT_EQ(closing_steps[i].visible.height, 156 - closing[i].y);
  }
}

// Content of 804 in a room of 700.
TEST(Scrolling, ContentMovesUntilItsEndShows) {
  EXPECT_EQ(scrolledBy(0, 10, 804, 700), 10);
  EXPECT_EQ(scrolledBy(60, 72, 804, 700), 104);
  EXPECT_EQ(scrolledBy(104, 1, 804, 700), 104);
}

TEST(Scrolling, ContentMovesBackToItsBeginning) {
  EXPECT_EQ(scrolledBy(104, -10, 804, 700), 94);
  EXPECT_EQ(scrolledBy(50, -72, 804, 700), 0);
}

TEST(Scrolling, ContentThatFitsStays) {
  EXPECT_EQ(scrolledBy(0, 72, 156, 700), 0);
  EXPECT_EQ(scrolledBy(0, -72, 156, 700), 0);
  EXPECT_EQ(scrolledBy(0, 72, 700, 700), 0);
}

TEST(Scrolling, WhatShowsNeedsNoMovement) {
  EXPECT_EQ(movementToShow(12, 72, 0, 700), 0);
  EXPECT_EQ(movementToShow(0, 700, 0, 700), 0);
  EXPECT_EQ(movementToShow(100, 800, 100, 700), 0);
}

TEST(Scrolling, WhatIsBelowComesUp) {
  EXPECT_EQ(movementToShow(650, 710, 0, 700), 10);
  EXPECT_EQ(movementToShow(750, 810, 100, 700), 10);
}

TEST(Scrolling, WhatIsAboveComesDown) {
  EXPECT_EQ(movementToShow(12, 72, 100, 700), -88);
}

TEST(Scrolling, OfWhatIsHigherThanTheRoomTheBeginningShows) {
  EXPECT_EQ(movementToShow(50, 900, 0, 700), 50);
}

}  // namespace
}  // namespace talvane
