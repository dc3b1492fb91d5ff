#include <png.h>
#include <stdio.h>
#include <sys/stat.h>
#include <turbojpeg.h>
#include <zbar.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/cleared.h"
#include "engine/text.h"
#include "platform/qr_image.h"
#include "platform/regular_file.h"

namespace talvane {
namespace {

constexpr std::uint64_t most_pixels = 64'000'000;
constexpr off_t most_bytes = 64'000'000;

// One byte per pixel, rows from the top.
struct GreyImage {
  unsigned width = 0;
  unsigned height = 0;
  std::vector<std::uint8_t> pixels;
};

bool sizeUsable(std::uint64_t width, std::uint64_t height) {
  return width > 0 && height > 0 && width * height <= most_pixels;
}

std::optional<GreyImage> decodePng(const std::vector<std::uint8_t>& file) {
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

std::optional<GreyImage> decodeJpeg(const std::vector<std::uint8_t>& file) {
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

std::optional<GreyImage> decode(const std::vector<std::uint8_t>& file) {
  const bool is_png = file.size() >= 8 && png_sig_cmp(file.data(), 0, 8) == 0;
  return is_png ? decodePng(file) : decodeJpeg(file);
}

std::vector<std::string> qrTexts(const GreyImage& grey) {
  zbar::ImageScanner scanner;
  scanner.set_config(zbar::ZBAR_NONE, zbar::ZBAR_CFG_ENABLE, 0);
  scanner.set_config(zbar::ZBAR_QRCODE, zbar::ZBAR_CFG_ENABLE, 1);
  // Take the raw bytes; otherwise the library may mistake UTF-8 for another encoding.
  scanner.set_config(zbar::ZBAR_QRCODE, zbar::ZBAR_CFG_BINARY, 1);
  zbar::Image image(grey.width, grey.height, "Y800", grey.pixels.data(), grey.pixels.size());
  std::vector<std::string> texts;
  if (scanner.scan(image) < 0) return texts;
  for (auto symbol = image.symbol_begin(); symbol != image.symbol_end(); ++symbol) {
    texts.push_back(symbol->get_data());
  }
  image.set_data(nullptr, 0);
  return texts;
}

void read(const std::string& path, QrImage* result) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    result->error = "There is no file " + path + "; give an otpauth:// URL or an image file";
    return;
  }
  std::string bytes;
  if (status.st_size > most_bytes || readRegularFile(path, &bytes) != 0) {
    result->error = "Cannot read " + path + " as an image; use a PNG or JPEG file";
    return;
  }
  const std::vector<std::uint8_t> file(bytes.begin(), bytes.end());
  const auto grey = decode(file);
  if (!grey) {
    result->error = path + " is not a readable PNG or JPEG image; use another file";
    return;
  }
  std::vector<std::string> texts = qrTexts(*grey);
  if (texts.empty()) {
    result->error = "No QR code found in " + path + "; use a sharper or larger image";
  } else if (texts.size() > 1) {
    result->error = path + " has several QR codes; crop it to the one you want";
  } else if (!isUtf8(texts.front())) {
    result->error =
        "The QR code in " + path + " holds no text; use one that holds an otpauth:// URL";
  } else {
    result->text = texts.front();
  }
  for (std::string& text : texts) clearMemory(text.data(), text.size());
}

}  // namespace
}  // namespace talvane

extern "C" __attribute__((visibility("default"))) void softtoken_read_qr_image(
    const std::string& path, talvane::QrImage* result) {
  talvane::read(path, result);
}
