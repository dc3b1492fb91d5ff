#include "ui/kit/alert_place.h"

#include <gtest/gtest.h>

#include <optional>

#include "tests/ui/frames.h"

namespace talvane {
namespace {

constexpr Frame screen{0, 0, 1280, 800};
constexpr Frame under_a_bar{0, 22, 1280, 778};
constexpr Frame second{1280, 100, 1024, 700};

struct Case {
  const char* what;
  Frame area;
  std::optional<Frame> panel;
  int width;
  int height;
  Place place;
};

// With its frame, an alert of 360 x 150 takes 372 x 196.
TEST(AlertPlace, BesideThePanel) {
  const Case cases[] = {
      {"at its left", under_a_bar, Frame{1010, 22, 260, 228}, 360, 150, {630, 22}},
      {"at its left, just", screen, Frame{380, 300, 260, 228}, 360, 150, {0, 300}},
      {"no room at its left", screen, Frame{379, 300, 260, 228}, 360, 150, {647, 300}},
      {"at its right", under_a_bar, Frame{0, 22, 260, 228}, 360, 150, {268, 22}},
      {"at its right, just", {0, 0, 640, 400}, Frame{0, 0, 260, 228}, 360, 150, {268, 0}},
      {"no room at a side", {0, 0, 639, 400}, Frame{0, 0, 260, 228}, 360, 150, {133, 102}},
      {"panel higher than the area", under_a_bar, Frame{1010, 0, 260, 800}, 360, 150, {630, 22}},
      {"low panel above a bar",
       {0, 0, 1280, 770},
       Frame{1010, 610, 260, 160},
       360,
       150,
       {630, 574}},
      {"another screen, left", second, Frame{2030, 100, 260, 228}, 360, 150, {1650, 100}},
      {"another screen, not on its neighbour",
       second,
       Frame{1300, 100, 260, 228},
       360,
       150,
       {1568, 100}},
      {"higher than the area", {0, 0, 1280, 160}, Frame{1010, 0, 260, 128}, 360, 150, {630, 0}},
  };
  for (const Case& it : cases) {
    EXPECT_EQ(alertPlace(it.area, it.panel, it.width, it.height), it.place) << it.what;
  }
}

TEST(AlertPlace, InTheMiddleWithoutAPanel) {
  EXPECT_EQ(alertPlace(screen, std::nullopt, 360, 150), (Place{454, 302}));
  EXPECT_EQ(alertPlace(under_a_bar, std::nullopt, 360, 150), (Place{454, 313}));
  EXPECT_EQ(alertPlace(second, std::nullopt, 360, 150), (Place{1606, 352}));
  EXPECT_EQ(alertPlace({0, 0, 300, 150}, std::nullopt, 360, 150), (Place{0, 0}));
}

}  // namespace
}  // namespace talvane
