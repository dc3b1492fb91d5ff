#include "ui/kit/countdown.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QTest>
#include <string>
#include <vector>

#include "engine/vane.h"
#include "tests/support/fake_gateway.h"
#include "tests/ui/painted_region.h"
#include "ui/kit/countdown_geometry.h"

namespace talvane {
namespace {

using Lines = std::vector<std::string>;

constexpr QRgb white = 0xffffffff;
constexpr QRgb untouched = 0xff123456;

/// A bar of the width of the panel's, drawn onto a ground of its own colour.
QImage drawn(int value, int period, int height = 60) {
  vane::InitColors();
  Countdown bar({0, 0, 12, height}, nullptr);
  bar.setPeriod(period);
  bar.setValue(value);
  QImage image(12, height, QImage::Format_RGB32);
  image.fill(untouched);
  bar.render(&image, QPoint(), QRegion(), QWidget::RenderFlags());
  return image;
}

/// Expects white above `split` and `below` under it, 10 wide, and the ground left alone elsewhere.
void expectBar(const QImage& image, int split, QRgb below) {
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      const QRgb line = y < split ? white : below;
      ASSERT_EQ(image.pixel(x, y), x >= 1 && x <= 10 ? line : untouched) << "at " << x << ", " << y;
    }
  }
}

// 0.8 and 0.3 of 255 are 204 and 76.5.
constexpr QRgb green = 0xff00ff00;
constexpr QRgb red = 0xffcc0000;

TEST(CountdownBar, StartsWithoutValueAndPeriod) {
  const Countdown bar({12, 12, 12, 60}, nullptr);
  EXPECT_EQ(bar.value(), 0);
  EXPECT_EQ(bar.period(), 0);
  EXPECT_EQ(bar.geometry(), QRect(12, 12, 12, 60));
}

TEST(CountdownBar, ValueZeroHasNoWhite) {
  expectBar(drawn(0, 30), 0, green);
  expectBar(drawn(0, 60), 0, green);
}

TEST(CountdownBar, ElapsedPartIsWhiteFromTheTop) {
  expectBar(drawn(10, 30), 20, green);  // 10 × 60 ÷ 29 = 20.69
  expectBar(drawn(1, 30), 2, green);    // 2.07
}

TEST(CountdownBar, ColoursOfTheTable) {
  expectBar(drawn(18, 30, 290), 180, green);
  expectBar(drawn(20, 30, 290), 200, 0xff99ff00);  // 0.6, 1, 0
  expectBar(drawn(22, 30, 290), 220, 0xffcccc00);  // 0.8, 0.8, 0
  expectBar(drawn(23, 30, 290), 230, 0xffcc9900);  // 0.8, 0.6, 0
  expectBar(drawn(25, 30, 290), 250, red);
}

TEST(CountdownBar, LastSecondIsAllWhite) {
  expectBar(drawn(29, 30, 204), 204, red);
  // Single precision leaves one line of this one: 29 × 2.0689654 = 59.999996.
  expectBar(drawn(29, 30, 60), 59, red);
  expectBar(drawn(59, 60), 60, red);
  expectBar(drawn(59, 60, 204), 204, red);
}

TEST(CountdownBar, FirstHalfOfASixtySecondBarIsCalm) {
  expectBar(drawn(10, 60, 590), 100, green);
  expectBar(drawn(29, 60, 590), 290, green);
}

TEST(CountdownBar, SecondHalfOfASixtySecondBarWarnsAsAThirtySecondOne) {
  expectBar(drawn(45, 60, 590), 450, green);  // as value 15
  expectBar(drawn(52, 60, 590), 520, 0xffcccc00);
  expectBar(drawn(55, 60, 590), 550, red);
}

Lines traceOf(int value, int period, int height) {
  test::FakeGateway log;
  vane::SetInterface(&log);
  drawn(value, period, height);
  vane::SetInterface(nullptr);
  std::erase_if(log.lines, [](const std::string& line) {
    return line.find("ountdown:") == std::string::npos;
  });
  return log.lines;
}

TEST(CountdownBar, DrawingIsTraced) {
  EXPECT_EQ(traceOf(10, 30, 60),
            (Lines{"Countdown:drawRect: begin: value:10",
                   "countdown:drawRect: height:60.000000  height per chunk:2.068965",
                   "Countdown:drawRect: end"}));
  EXPECT_EQ(traceOf(59, 60, 590),
            (Lines{"Countdown:drawRect: begin: value:59",
                   "countdown:drawRect: height:590.000000  height per chunk:10.000000",
                   "Countdown:drawRect: end"}));
  EXPECT_EQ(traceOf(-1, 30, 60), Lines());
}

TEST(CountdownBar, NegativeValueDrawsNothing) {
  for (const int value : {-1, -30, INT32_MIN}) {
    const QImage image = drawn(value, 30);
    for (int y = 0; y < image.height(); ++y) {
      for (int x = 0; x < image.width(); ++x) ASSERT_EQ(image.pixel(x, y), untouched);
    }
  }
}

// What a second paints of a bar on the screen, 290 high: 10 a second.
QRect paintedBetween(int value, int next) {
  vane::InitColors();
  Countdown bar({0, 0, 12, 290}, nullptr);
  bar.setPeriod(30);
  bar.setValue(value);
  bar.show();
  QTest::qWait(20);
  const test::PaintedRegion painted(bar);
  bar.setValue(next);
  QTest::qWait(20);
  return painted.region.boundingRect();
}

TEST(CountdownBar, ASecondPaintsWhatHasBecomeWhite) {
  EXPECT_EQ(paintedBetween(3, 4), QRect(0, 30, 12, 10));
  EXPECT_EQ(paintedBetween(0, 1), QRect(0, 0, 12, 10));
}

TEST(CountdownBar, AClockSetBackPaintsWhatIsWhiteNoMore) {
  EXPECT_EQ(paintedBetween(12, 3), QRect(0, 30, 12, 90));
  EXPECT_EQ(paintedBetween(12, 0), QRect(0, 0, 12, 120));
}

TEST(CountdownBar, ANewColourPaintsAll) {
  EXPECT_EQ(paintedBetween(19, 20), QRect(0, 0, 12, 290));
  EXPECT_EQ(paintedBetween(29, 0), QRect(0, 0, 12, 290));
}

TEST(CountdownBar, AValueBelowZeroPaintsAll) {
  EXPECT_EQ(paintedBetween(3, -1), QRect(0, 0, 12, 290));
  EXPECT_EQ(paintedBetween(-1, 3), QRect(0, 0, 12, 290));
}

TEST(CountdownBar, ANewPeriodPaintsAll) {
  vane::InitColors();
  Countdown bar({0, 0, 12, 290}, nullptr);
  bar.setPeriod(30);
  bar.setValue(10);
  bar.show();
  QTest::qWait(20);
  const test::PaintedRegion painted(bar);
  bar.setPeriod(60);
  QTest::qWait(20);
  EXPECT_EQ(painted.region.boundingRect(), QRect(0, 0, 12, 290));
}

TEST(CountdownGeometry, LastSecondReachesTheBottom) {
  // value × (height ÷ (period − 1)) in single precision.
  EXPECT_EQ(countdownSplit(59, 60, 59.0F), 59);
  EXPECT_EQ(countdownSplit(59, 60, 60.0F), 60);
  EXPECT_EQ(countdownSplit(29, 30, 204.0F), 204);
}

TEST(CountdownGeometry, SplitIsTruncated) {
  EXPECT_EQ(countdownSplit(1, 30, 60.0F), 2);    // 2.068...
  EXPECT_EQ(countdownSplit(14, 30, 60.0F), 28);  // 28.96...
  EXPECT_EQ(countdownSplit(45, 60, 60.0F), 45);  // 45.76...
  EXPECT_EQ(countdownSplit(30, 60, 132.0F), 67);
}

TEST(CountdownGeometry, SplitIsComputedInSinglePrecision) {
  // 60 ÷ 29 as a float is 2.06896543502807617, and 29 of them 59.99999761..., whose nearest float
  // is 59.9999962: one line short of the bottom. In double precision it would be 60.
  EXPECT_EQ(countdownSplit(29, 30, 60.0F), 59);
  EXPECT_EQ(countdownSplit(59, 60, 492.0F), 491);
  EXPECT_EQ(countdownSplit(29, 30, 996.0F), 995);
  // Here it is double precision that would come to 2003.
  EXPECT_EQ(countdownSplit(29, 30, 2004.0F), 2004);
}

TEST(CountdownGeometry, ValueZeroSplitsAtTheTop) {
  EXPECT_EQ(countdownSplit(0, 30, 60.0F), 0);
  EXPECT_EQ(countdownSplit(0, 60, 204.0F), 0);
}

TEST(CountdownGeometry, ColourOfASixtySecondBarStartsAnewAtThirty) {
  const std::pair<int, int> by_value[] = {{0, 0},  {10, 0},  {29, 0}, {30, 0},
                                          {31, 1}, {45, 15}, {59, 29}};
  for (const auto& [value, index] : by_value) {
    EXPECT_EQ(countdownColourIndex(value, 60), index) << value;
  }
}

TEST(CountdownGeometry, ColourOfAThirtySecondBarIsTheValue) {
  for (const int value : {0, 10, 18, 29}) EXPECT_EQ(countdownColourIndex(value, 30), value);
}

TEST(CountdownGeometry, TheLineIsInTheMiddleOfTheBar) {
  EXPECT_EQ(countdown_line_x, 6);
}

}  // namespace
}  // namespace talvane
