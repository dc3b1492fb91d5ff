#include "ui/kit/flipped_view.h"

#include <gtest/gtest.h>

#include <QImage>

#include "tests/ui/drawn.h"
#include "ui/kit/look.h"

namespace talvane {
namespace {

using test::drawn;

/// 8 by 5, every pixel of its own colour.
QPixmap pattern() {
  QImage image(8, 5, QImage::Format_RGB32);
  for (int y = 0; y < 5; ++y) {
    for (int x = 0; x < 8; ++x) image.setPixel(x, y, qRgb(10 + 20 * x, 10 + 40 * y, 99));
  }
  return QPixmap::fromImage(image);
}

QRgb patternAt(int x, int y) {
  return qRgb(10 + 20 * (x % 8), 10 + 40 * (y % 5), 99);
}

TEST(FlippedViewTest, ChildAtTheTopTouchesTheTop) {
  FlippedView view({0, 0, 40, 30});
  QWidget child(&view);
  child.setGeometry(5, 0, 20, 3);
  child.setAutoFillBackground(true);
  QPalette red;
  red.setColor(QPalette::Window, Qt::red);
  child.setPalette(red);
  const QImage image = drawn(view);
  for (int y = 0; y < 30; ++y) {
    EXPECT_EQ(image.pixelColor(10, y) == QColor(Qt::red), y < 3) << y;
  }
  EXPECT_NE(image.pixelColor(4, 0), QColor(Qt::red));
  EXPECT_NE(image.pixelColor(25, 0), QColor(Qt::red));
}

TEST(FlippedViewTest, TakesItsFrame) {
  const FlippedView view({36, 84, 212, 60});
  EXPECT_EQ(frameOf(view.geometry()), (Frame{36, 84, 212, 60}));
}

TEST(FlippedImageViewTest, PictureStandsAtTheUpperLeftCorner) {
  FlippedImageView view({0, 0, 20, 20}, pattern(), nullptr);
  const QImage image = drawn(view);
  for (int y = 0; y < 5; ++y) {
    for (int x = 0; x < 8; ++x) ASSERT_EQ(image.pixel(x, y), patternAt(x, y)) << x << ',' << y;
  }
  EXPECT_NE(image.pixel(8, 0), patternAt(0, 0)) << "it is repeated";
  EXPECT_NE(image.pixel(0, 5), patternAt(0, 0)) << "it is repeated";
}

TEST(TiledImageViewTest, RepeatsFromItsOrigin) {
  TiledImageView view({0, 34, 37, 23}, nullptr);
  view.setImage(pattern());
  const QImage image = drawn(view);
  for (int y = 0; y < 23; ++y) {
    for (int x = 0; x < 37; ++x) ASSERT_EQ(image.pixel(x, y), patternAt(x, y)) << x << ',' << y;
  }
}

TEST(TiledImageViewTest, StripThatIsRedrawnStaysAligned) {
  TiledImageView view({0, 0, 37, 23}, nullptr);
  view.setImage(pattern());
  const QRect strip(3, 7, 21, 4);
  QImage image(view.size(), QImage::Format_RGB32);
  image.fill(Qt::magenta);
  view.render(&image, strip.topLeft(), strip, QWidget::RenderFlags());
  for (int y = 0; y < 23; ++y) {
    for (int x = 0; x < 37; ++x) {
      const QRgb expected = strip.contains(x, y) ? patternAt(x, y) : QColor(Qt::magenta).rgb();
      ASSERT_EQ(image.pixel(x, y), expected) << x << ',' << y;
    }
  }
}

TEST(TiledImageViewTest, MissingImageDrawsNothing) {
  TiledImageView view({0, 0, 10, 10}, nullptr);
  view.setImage(QPixmap());
  EXPECT_FALSE(drawn(view).isNull());
}

TEST(PictureTest, OfTheScreensSharpness) {
  const QWidget widget;
  EXPECT_EQ(artwork(QStringLiteral("logo260x34.png"), widget).size(), QSize(260, 34));
  EXPECT_EQ(artwork(QStringLiteral("bluebar260x34.png"), widget).size(), QSize(260, 34));
  EXPECT_EQ(artwork(QStringLiteral("blue.png"), widget).size(), QSize(212, 60));
  EXPECT_FALSE(artwork(QStringLiteral("bgtile.png"), widget).isNull());
}

TEST(PictureTest, MissingOneIsEmpty) {
  EXPECT_TRUE(artwork(QStringLiteral("none.png"), QWidget()).isNull());
}

}  // namespace
}  // namespace talvane
