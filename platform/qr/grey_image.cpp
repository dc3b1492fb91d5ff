#include "platform/qr/grey_image.h"

#include <png.h>
#include <turbojpeg.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/qr/image_cost.h"

namespace talvane {
namespace {

std::optional<GreyImage> decodePng(std::span<const std::uint8_t> file) {
  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  std::optional<GreyImage> image;
  if (png_image_begin_read_from_memory(&png, file.data(), file.size()) != 0) {
    png.format = PNG_FORMAT_GRAY;
    image = GreyImage{png.width, png.height, std::vector<std::uint8_t>(PNG_IMAGE_SIZE(png))};
    const png_color white = {255, 255, 255};  // behind transparent pixels
    if (png_image_finish_read(&png, &white, image->pixels.data(), 0, nullptr) == 0) image.reset();
  }
  png_image_free(&png);
  return image;
}

std::optional<GreyImage> decodeJpeg(std::span<const std::uint8_t> file, unsigned scale) {
  const std::unique_ptr<void, int (*)(tjhandle)> decoder(tjInitDecompress(), tjDestroy);
  int width = 0;
  int height = 0;
  int subsampling = 0;
  int colour_space = 0;
  if (decoder == nullptr ||
      tjDecompressHeader3(decoder.get(), file.data(), static_cast<unsigned long>(file.size()),
                          &width, &height, &subsampling, &colour_space) != 0 ||
      width <= 0 || height <= 0) {
    return std::nullopt;
  }
  const tjscalingfactor factor{1, static_cast<int>(scale)};
  width = TJSCALED(width, factor);
  height = TJSCALED(height, factor);
  GreyImage image{static_cast<unsigned>(width), static_cast<unsigned>(height), {}};
  image.pixels.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  if (tjDecompress2(decoder.get(), file.data(), static_cast<unsigned long>(file.size()),
                    image.pixels.data(), width, 0, height, TJPF_GRAY, TJFLAG_LIMITSCANS) != 0) {
    return std::nullopt;
  }
  return image;
}

}  // namespace

std::optional<GreyImage> decodeImage(std::span<const std::uint8_t> file) {
  const auto cost = costOfImage(file);
  if (!cost || !isAffordable(*cost)) return std::nullopt;
  const bool is_png = file.size() >= 8 && png_sig_cmp(file.data(), 0, 8) == 0;
  return is_png ? decodePng(file) : decodeJpeg(file, cost->scale);
}

GreyImage reduced(GreyImage image, std::uint64_t most_pixels) {
  const auto pixels = [&](unsigned factor) {
    return std::uint64_t{image.width / factor} * (image.height / factor);
  };
  unsigned factor = 1;
  while (pixels(factor) > most_pixels) ++factor;
  if (factor == 1) return image;
  GreyImage small{image.width / factor, image.height / factor, {}};
  small.pixels.reserve(pixels(factor));
  for (unsigned y = 0; y < small.height; ++y) {
    for (unsigned x = 0; x < small.width; ++x) {
      unsigned sum = 0;
      for (unsigned row = 0; row < factor; ++row) {
        const std::size_t start = std::size_t{y * factor + row} * image.width + x * factor;
        for (unsigned i = 0; i < factor; ++i) sum += image.pixels[start + i];
      }
      small.pixels.push_back(static_cast<std::uint8_t>(sum / (factor * factor)));
    }
  }
  return small;
}

}  // namespace talvane
