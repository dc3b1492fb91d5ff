// What an image costs, by headers made here from the two formats' specifications (PNG 11.2.2, JPEG
// ITU-T T.81 annex B). Nothing is decoded.

#include "platform/qr/image_cost.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace talvane::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

void add(Bytes& bytes, std::uint64_t value, int length) {
  while (length-- > 0) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * length)));
}

Bytes png(std::uint32_t width, std::uint32_t height, std::uint8_t depth, std::uint8_t colour) {
  Bytes file{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13, 'I', 'H', 'D', 'R'};
  add(file, width, 4);
  add(file, height, 4);
  file.insert(file.end(), {depth, colour, 0, 0, 0, 1, 2, 3, 4});
  return file;
}

constexpr std::uint8_t baseline = 0xC0;
constexpr std::uint8_t extended = 0xC1;
constexpr std::uint8_t progressive = 0xC2;

/// A JPEG file of empty scans, each of as many components as stand in `scans`.
Bytes jpeg(std::uint8_t kind, std::uint16_t width, std::uint16_t height, const Bytes& sampling,
           const Bytes& scans) {
  Bytes file{0xFF, 0xD8, 0xFF, 0xE0, 0, 4, 0xFF, 0xDA};  // an APP0 that looks like a scan
  file.insert(file.end(), {0xFF, kind});
  add(file, 8 + 3 * sampling.size(), 2);
  file.push_back(8);
  add(file, height, 2);
  add(file, width, 2);
  file.push_back(static_cast<std::uint8_t>(sampling.size()));
  for (std::size_t i = 0; i < sampling.size(); ++i) {
    file.insert(file.end(), {static_cast<std::uint8_t>(i), sampling[i], 0});
  }
  for (const std::uint8_t components : scans) {
    file.insert(file.end(), {0xFF, 0xDA});
    add(file, 6 + 2 * std::size_t{components}, 2);
    file.push_back(components);
    file.insert(file.end(), 2 * std::size_t{components} + 3, 0);
    // Data with a stuffed byte and a restart, then a fill byte before the next marker.
    file.insert(file.end(), {0x12, 0xFF, 0x00, 0xDA, 0xFF, 0xD0, 0x34, 0xFF});
  }
  file.insert(file.end(), {0xFF, 0xD9, 0xFF, 0xDA});
  return file;
}

ImageCost cost(const Bytes& file) {
  const auto found = costOfImage(file);
  EXPECT_TRUE(found.has_value());
  return found.value_or(ImageCost{});
}

/// The file with these bytes in front of its frame.
Bytes withBeforeFrame(Bytes file, const Bytes& bytes) {
  file.insert(file.begin() + 8, bytes.begin(), bytes.end());
  return file;
}

const Bytes grey{0x11};
const Bytes colour_420{0x22, 0x11, 0x11};
const Bytes colour_444{0x11, 0x11, 0x11};

TEST(ImageCost, PngByItsRows) {
  struct {
    std::uint8_t depth, colour;
    std::uint64_t work;
  } const kinds[] = {{1, 0, 1000 * 100},  {8, 0, 1000 * 100},     {8, 3, 1000 * 100},
                     {8, 4, 2000 * 100},  {8, 2, 3000 * 100},     {8, 6, 4000 * 100},
                     {16, 0, 2000 * 100}, {16, 6, 8 * 1000 * 100}};
  for (const auto& kind : kinds) {
    const Bytes file = png(1000, 100, kind.depth, kind.colour);
    EXPECT_EQ(cost(file).work, kind.work) << int{kind.depth} << " " << int{kind.colour};
    EXPECT_EQ(cost(file).memory, file.size() + 100'000);
    EXPECT_EQ(cost(file).scale, 1U);
  }
}

TEST(ImageCost, PngLimits) {
  EXPECT_TRUE(isAffordable(cost(png(5000, 5000, 8, 6))));
  EXPECT_FALSE(isAffordable(cost(png(5001, 5000, 8, 6))));
  EXPECT_TRUE(isAffordable(cost(png(6016, 3384, 8, 6)))) << "a screenshot of 6K";
  EXPECT_TRUE(isAffordable(cost(png(8000, 6900, 1, 0))));
  EXPECT_FALSE(isAffordable(cost(png(8000, 7000, 1, 0)))) << "its grey image is too large";
  EXPECT_FALSE(isAffordable(cost(png(0xFFFFFFFF, 0xFFFFFFFF, 16, 6)))) << "no overflow";
  EXPECT_FALSE(isAffordable(cost(png(0x80000000, 0x80000000, 1, 0))));
}

TEST(ImageCost, JpegByItsScans) {
  EXPECT_EQ(cost(jpeg(baseline, 100, 50, grey, {1})).work, 5000U);
  EXPECT_EQ(cost(jpeg(baseline, 100, 50, colour_420, {3})).work, 5000U);
  EXPECT_EQ(cost(jpeg(baseline, 100, 50, colour_420, {1, 1, 1})).work, 15000U);
  EXPECT_EQ(cost(jpeg(progressive, 100, 50, grey, Bytes(10, 1))).work, 50000U);
  EXPECT_EQ(cost(jpeg(extended, 100, 50, colour_420, {3})).work, 5000U);
}

// Their markers lie among those of frames: Huffman tables, extensions, and arithmetic conditioning.
TEST(ImageCost, JpegTablesAreNoFrames) {
  const Bytes plain = jpeg(baseline, 100, 50, grey, {1});
  for (const std::uint8_t kind : Bytes{0xC4, 0xC8, 0xCC}) {
    const Bytes file = withBeforeFrame(plain, {0xFF, kind, 0, 9, 8, 0xFF, 0xFF, 0xFF, 0xFF, 1, 1});
    EXPECT_EQ(cost(file).work, 5000U) << int{kind};
    EXPECT_EQ(cost(file).memory, file.size() + 5000U) << int{kind};
  }
}

TEST(ImageCost, JpegMemoryHoldsCoefficientsOnlyOfSeveralScans) {
  Bytes file = jpeg(baseline, 160, 160, colour_420, {3});
  EXPECT_EQ(cost(file).memory, file.size() + 25'600);
  // 160 x 160 of brightness and twice 80 x 80 of colour, two bytes each.
  const std::uint64_t coefficients = 2 * (25'600 + 2 * 6'400);
  file = jpeg(progressive, 160, 160, colour_420, {3});
  EXPECT_EQ(cost(file).memory, file.size() + 25'600 + coefficients);
  file = jpeg(baseline, 160, 160, colour_420, {1});
  EXPECT_EQ(cost(file).memory, file.size() + 25'600 + coefficients) << "the others may follow";
  // A second scan of everything, or one that does not say what it holds.
  const std::uint64_t bright = 2 * 25'600;
  file = jpeg(baseline, 160, 160, grey, {1, 1});
  EXPECT_EQ(cost(file).memory, file.size() + 25'600 + bright);
  file = jpeg(baseline, 160, 160, grey, {});
  const Bytes empty_scan{0xFF, 0xDA, 0, 2};
  file.insert(file.end() - 4, empty_scan.begin(), empty_scan.end());
  EXPECT_EQ(cost(file).memory, file.size() + 25'600 + bright);
  // Blocks are whole: 161 x 161 takes 11 x 11 groups of 16 x 16.
  file = jpeg(progressive, 161, 161, colour_420, {3});
  EXPECT_EQ(cost(file).memory, file.size() + 161 * 161 + 2 * 11 * 11 * 6 * 64);
}

TEST(ImageCost, JpegLimits) {
  EXPECT_TRUE(isAffordable(cost(jpeg(baseline, 8000, 6000, colour_420, {3}))))
      << "a photo of 48 MP";
  EXPECT_EQ(cost(jpeg(baseline, 8000, 6000, colour_420, {3})).scale, 4U);
  EXPECT_FALSE(isAffordable(cost(jpeg(baseline, 10000, 10001, colour_420, {3}))));
  EXPECT_TRUE(isAffordable(cost(jpeg(progressive, 4000, 2400, colour_420, Bytes(10, 1)))));
  EXPECT_FALSE(isAffordable(cost(jpeg(progressive, 4000, 2400, colour_420, Bytes(11, 1)))));
  EXPECT_FALSE(isAffordable(cost(jpeg(progressive, 4000, 2400, colour_444, Bytes(10, 1)))))
      << "its coefficients are too large";
  EXPECT_TRUE(isAffordable(cost(jpeg(progressive, 1000, 1000, grey, Bytes(100, 1)))));
  EXPECT_FALSE(isAffordable(cost(jpeg(progressive, 1000, 1000, grey, Bytes(101, 1)))));
  EXPECT_FALSE(isAffordable(cost(jpeg(progressive, 0xFFFF, 0xFFFF, colour_444, {3}))));
}

TEST(ImageCost, OtherFilesHaveNone) {
  Bytes without_header = png(1, 1, 8, 0);
  without_header[12] = 'X';
  Bytes two_frames = jpeg(baseline, 8, 8, grey, {1});
  const Bytes frame(two_frames.begin() + 8, two_frames.begin() + 8 + 13);
  two_frames.insert(two_frames.begin() + 8, frame.begin(), frame.end());
  Bytes too_few_components = jpeg(baseline, 8, 8, grey, {1});
  too_few_components[8 + 9] = 3;
  const Bytes short_frame{0xFF, 0xD8, 0xFF, 0xC0, 0, 7, 8, 0, 8, 0, 8,
                          0xFF, 0xDA, 0,    8,    1, 0, 0, 0, 0, 0};
  for (const Bytes& file : {Bytes{},
                            Bytes{0xFF, 0xD8},
                            Bytes{0x89, 'P', 'N', 'G'},
                            Bytes(100, 0xFF),
                            without_header,
                            png(0, 1, 8, 0),
                            png(1, 1, 8, 5),
                            png(1, 1, 32, 0),
                            jpeg(baseline, 8, 8, grey, {}),
                            jpeg(baseline, 0, 8, grey, {1}),
                            jpeg(baseline, 8, 8, {}, {1}),
                            jpeg(baseline, 8, 8, {0x00}, {1}),
                            jpeg(baseline, 8, 8, {0x51}, {1}),
                            jpeg(baseline, 8, 8, {0x10}, {1}),
                            jpeg(baseline, 8, 8, {0x15}, {1}),
                            jpeg(baseline, 8, 0, grey, {1}),
                            jpeg(baseline, 8, 8, Bytes(5, 0x11), {1}),
                            png(1, 0, 8, 0),
                            png(1, 1, 8, 7),
                            too_few_components,
                            short_frame,
                            withBeforeFrame(jpeg(baseline, 8, 8, grey, {1}), {0xFF, 0xE1, 0, 1}),
                            jpeg(0xC3, 8, 8, grey, {1}),
                            jpeg(0xC9, 8, 8, grey, {1}),
                            two_frames}) {
    EXPECT_FALSE(costOfImage(file).has_value()) << file.size();
  }
}

TEST(ImageCost, CutFilesDoNoHarm) {
  for (const Bytes& whole : {png(1, 1, 8, 0), jpeg(progressive, 8, 8, colour_420, {3, 1, 1})}) {
    for (std::size_t size = 0; size < whole.size(); ++size) {
      const auto found = costOfImage(std::span(whole).first(size));
      EXPECT_TRUE(!found || isAffordable(*found));
    }
  }
}

}  // namespace
}  // namespace talvane::test
