#include "platform/qr/grey_image.h"

#include <png.h>
#include <turbojpeg.h>

#include <memory>

namespace talvane {
namespace {

constexpr std::uint64_t most_pixels = 64'000'000;
bool sizeUsable(std::uint64_t width, std::uint64_t height) {
  return width > 0 && height > 0 && width * height <= most_pixels;
}

std::optional<GreyImage> decodePng(std::span<const std::uint8_t> file) {
  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  std::optional<GreyImage> image;
  if (png_image_begin_read_from_memory(&png, file.data(), file.size()) != 0 &&
      sizeUsable(png.width, png.height)) {
    png.format = PNG_FORMAT_GRAY;
    image = GreyImage{png.width, png.height, std::vector<std::uint8_t>(PNG_IMAGE_SIZE(png))};
    const png_color white = {255, 255, 255};  // behind transparent pixels
    if (png_image_finish_read(&png, &white, image->pixels.data(), 0, nullptr) == 0) image.reset();
  }
  png_image_free(&png);
  return image;
}

std::optional<GreyImage> decodeJpeg(std::span<const std::uint8_t> file) {
  const std::unique_ptr<void, int (*)(tjhandle)> decoder(tjInitDecompress(), tjDestroy);
  int width = 0;
  int height = 0;
  int subsampling = 0;
  int colour_space = 0;
  if (decoder == nullptr ||
      tjDecompressHeader3(decoder.get(), file.data(), static_cast<unsigned long>(file.size()),
                          &width, &height, &subsampling, &colour_space) != 0 ||
      width <= 0 || height <= 0 ||
      !sizeUsable(static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height))) {
    return std::nullopt;
  }
  GreyImage image{static_cast<unsigned>(width), static_cast<unsigned>(height), {}};
  image.pixels.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  if (tjDecompress2(decoder.get(), file.data(), static_cast<unsigned long>(file.size()),
                    image.pixels.data(), width, 0, height, TJPF_GRAY, 0) != 0) {
    return std::nullopt;
  }
  return image;
}

}  // namespace

std::optional<GreyImage> decodeImage(std::span<const std::uint8_t> file) {
  const bool is_png = file.size() >= 8 && png_sig_cmp(file.data(), 0, 8) == 0;
  return is_png ? decodePng(file) : decodeJpeg(file);
}

}  // namespace talvane
