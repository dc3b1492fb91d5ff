// The icon is read off its pixels, as a status area gets them.

#include "ui/desktop/status_icon.h"

#include <gtest/gtest.h>

#include <QIcon>
#include <QImage>
#include <QPixmap>
#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <ostream>
#include <string>
#include <vector>

#include "tests/ui/contrast.h"

namespace talvane {
namespace {

using test::contrast;

constexpr double least_contrast = 3.0;  // WCAG 2.1, of graphics

const std::vector<int> sizes{16, 18, 22, 24, 32, 36, 44, 48, 64};

QImage imageOf(int size) {
  const QImage image = statusIcon().pixmap(QSize(size, size), 1.0).toImage();
  return image.convertToFormat(QImage::Format_ARGB32);
}

bool isSeen(const QImage& image, int x, int y) {
  return image.valid(x, y) && qAlpha(image.pixel(x, y)) >= 128;
}

bool isOnTheOutline(const QImage& image, int x, int y) {
  return isSeen(image, x, y) && !(isSeen(image, x - 1, y) && isSeen(image, x + 1, y) &&
                                  isSeen(image, x, y - 1) && isSeen(image, x, y + 1));
}

int over(int channel, int alpha, int ground) {
  return (channel * alpha + ground * (255 - alpha)) / 255;
}

QRgb over(QRgb colour, QRgb ground) {
  const int alpha = qAlpha(colour);
  return qRgb(over(qRed(colour), alpha, qRed(ground)), over(qGreen(colour), alpha, qGreen(ground)),
              over(qBlue(colour), alpha, qBlue(ground)));
}

/// How far the image stands out from a bar where it does so least: at each place of its outline,
/// the greatest contrast that is close by.
double contrastOfTheOutline(const QImage& image, QRgb bar) {
  const int close = 1 + image.width() / 16;
  const int width = image.width();
  const int height = image.height();
  std::vector<double> contrasts;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      contrasts.push_back(contrast(over(image.pixel(x, y), bar), bar));
    }
  }
  double least = 21;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      if (!isOnTheOutline(image, x, y)) continue;
      double greatest = 1;
      for (int v = std::max(0, y - close); v <= std::min(height - 1, y + close); ++v) {
        for (int u = std::max(0, x - close); u <= std::min(width - 1, x + close); ++u) {
          greatest = std::max(greatest, contrasts[static_cast<std::size_t>(v * width + u)]);
        }
      }
      least = std::min(least, greatest);
    }
  }
  return least;
}

/// Of all the pixels that are seen, the share that are seen only in part.
double softness(const QImage& image) {
  int seen = 0;
  int soft = 0;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      const int alpha = qAlpha(image.pixel(x, y));
      seen += alpha > 0 ? 1 : 0;
      soft += alpha > 0 && alpha < 255 ? 1 : 0;
    }
  }
  return static_cast<double>(soft) / std::max(seen, 1);
}

TEST(StatusIconMeasures, ContrastOfAnOutline) {
  QImage image(16, 16, QImage::Format_ARGB32);
  image.fill(Qt::transparent);
  for (int y = 4; y < 12; ++y) {
    for (int x = 4; x < 12; ++x) image.setPixel(x, y, qRgb(0xff, 0xff, 0xff));
  }
  EXPECT_NEAR(contrastOfTheOutline(image, qRgb(0, 0, 0)), 21.0, 1e-9);
  EXPECT_NEAR(contrastOfTheOutline(image, qRgb(0xff, 0xff, 0xff)), 1.0, 1e-9);
  // Dark in one corner only, the image is lost elsewhere.
  image.setPixel(4, 4, qRgb(0, 0, 0));
  EXPECT_NEAR(contrastOfTheOutline(image, qRgb(0xff, 0xff, 0xff)), 1.0, 1e-9);
}

TEST(StatusIconMeasures, Softness) {
  QImage image(4, 1, QImage::Format_ARGB32);
  image.fill(qRgb(0, 0, 0));
  EXPECT_DOUBLE_EQ(softness(image), 0.0);
  image.setPixel(0, 0, qRgba(0, 0, 0, 128));
  EXPECT_DOUBLE_EQ(softness(image), 0.25);
  image.setPixel(1, 0, qRgba(0, 0, 0, 0));
  image.setPixel(2, 0, qRgba(0, 0, 0, 0));
  EXPECT_DOUBLE_EQ(softness(image), 0.5);
}

TEST(StatusIcon, HasTheSizesOfStatusAreas) {
  std::vector<int> found;
  for (const QSize& size : statusIcon().availableSizes()) {
    EXPECT_EQ(size.width(), size.height());
    found.push_back(size.width());
  }
  std::sort(found.begin(), found.end());
  EXPECT_EQ(found, sizes);
}

TEST(StatusIcon, AreaGetsTheImageOfItsPixels) {
  const QIcon icon = statusIcon();
  for (const int size : sizes) {
    const QImage drawn(QStringLiteral(":/softtoken/status-%1.png").arg(size));
    ASSERT_EQ(drawn.size(), QSize(size, size));
    EXPECT_TRUE(imageOf(size) == drawn.convertToFormat(QImage::Format_ARGB32)) << size;
  }
  for (const int points : {16, 18, 22, 24, 32}) {
    const QPixmap sharp = icon.pixmap(QSize(points, points), 2.0);
    EXPECT_EQ(sharp.devicePixelRatio(), 2.0) << points;
    QImage image = sharp.toImage().convertToFormat(QImage::Format_ARGB32);
    image.setDevicePixelRatio(1);
    EXPECT_TRUE(image == imageOf(2 * points)) << points;
  }
}

TEST(StatusIcon, NoSizeIsAnotherOneScaled) {
  for (const int size : sizes) {
    const QImage own = imageOf(size);
    for (const int other : sizes) {
      if (other == size) continue;
      for (const auto how : {Qt::FastTransformation, Qt::SmoothTransformation}) {
        const QImage scaled = imageOf(other).scaled(size, size, Qt::IgnoreAspectRatio, how);
        EXPECT_FALSE(own == scaled.convertToFormat(QImage::Format_ARGB32)) << size << ' ' << other;
        if (how == Qt::FastTransformation) continue;
        EXPECT_LT(softness(own), softness(scaled.convertToFormat(QImage::Format_ARGB32)))
            << size << ' ' << other;
      }
    }
  }
}

TEST(StatusIcon, EdgesAreOnWholePixels) {
  for (const int size : sizes) {
    const QImage image = imageOf(size);
    // Below the top and above the point, the sides are upright.
    for (int y = size / 4; y <= size * 2 / 5; ++y) {
      for (int x = 0; x < size; ++x) {
        const int alpha = qAlpha(image.pixel(x, y));
        EXPECT_TRUE(alpha == 0 || alpha == 255) << size << ": " << x << ',' << y;
      }
    }
    for (int y = 0; y < size; ++y) {
      for (int x = 0; x < size / 2; ++x) {
        const int left = qAlpha(image.pixel(x, y));
        const int right = qAlpha(image.pixel(size - 1 - x, y));
        // Twice the step of the renderer; half a pixel off makes 128.
        EXPECT_LE(std::abs(left - right), 32) << size << ": " << x << ',' << y;
      }
    }
  }
}

struct Bar {
  const char* name;
  QRgb colour;
};

void PrintTo(const Bar& bar, std::ostream* out) {
  *out << bar.name;
}

class StatusIconOnABar : public ::testing::TestWithParam<Bar> {};

TEST_P(StatusIconOnABar, StandsOutAllAround) {
  for (const int size : sizes) {
    EXPECT_GE(contrastOfTheOutline(imageOf(size), GetParam().colour), least_contrast) << size;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Bars, StatusIconOnABar,
    ::testing::Values(Bar{"black", qRgb(0, 0, 0)}, Bar{"midGrey", qRgb(0x80, 0x80, 0x80)},
                      Bar{"lightGrey", qRgb(0xc0, 0xc0, 0xc0)},
                      Bar{"white", qRgb(0xff, 0xff, 0xff)}, Bar{"slate", qRgb(0x2b, 0x30, 0x3b)},
                      Bar{"steelBlue", qRgb(0x28, 0x55, 0x77)},
                      Bar{"deepBlue", qRgb(0x0c, 0x3a, 0x8c)}, Bar{"blue", qRgb(0x1e, 0x66, 0xc8)},
                      Bar{"brightBlue", qRgb(0x2e, 0x74, 0xdc)},
                      Bar{"skyBlue", qRgb(0x3d, 0xae, 0xe9)}),
    [](const auto& bar) { return std::string(bar.param.name); });

// A contrast ratio knows colours by their luminance alone, so greys stand for all of them.
TEST(StatusIcon, StandsOutFromBarsOfAnyColour) {
  for (const int size : sizes) {
    const QImage image = imageOf(size);
    for (int grey = 0; grey < 256; grey += 3) {
      EXPECT_GE(contrastOfTheOutline(image, qRgb(grey, grey, grey)), least_contrast)
          << size << " on " << grey;
    }
  }
}

}  // namespace
}  // namespace talvane
