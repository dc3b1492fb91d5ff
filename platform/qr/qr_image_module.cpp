#include <stdio.h>
#include <sys/stat.h>
#include <zbar.h>

#include <cstdint>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "engine/cleared.h"
#include "engine/text.h"
#include "platform/qr/grey_image.h"
#include "platform/qr/image_cost.h"
#include "platform/qr_image.h"
#include "platform/regular_file.h"
#include "platform/translation.h"

namespace talvane {
namespace {

constexpr off_t most_bytes = 32'000'000;

// The search's time grows with the square of the number of finder patterns, which an image can
// repeat. A large image is searched in every second line, where patterns of single pixels do not
// count; a code then needs three pixels to a module.
constexpr std::uint64_t most_searched_pixels = 4'000'000;
constexpr std::uint64_t most_pixels_searched_whole = 1'000'000;

std::vector<std::string> qrTexts(const GreyImage& grey) {
  if (grey.pixels.empty()) return {};
  zbar::ImageScanner scanner;
  scanner.set_config(zbar::ZBAR_NONE, zbar::ZBAR_CFG_ENABLE, 0);
  scanner.set_config(zbar::ZBAR_QRCODE, zbar::ZBAR_CFG_ENABLE, 1);
  // Take the raw bytes; otherwise the library may mistake UTF-8 for another encoding.
  scanner.set_config(zbar::ZBAR_QRCODE, zbar::ZBAR_CFG_BINARY, 1);
  const int step = grey.pixels.size() > most_pixels_searched_whole ? 2 : 1;
  scanner.set_config(zbar::ZBAR_NONE, zbar::ZBAR_CFG_X_DENSITY, step);
  scanner.set_config(zbar::ZBAR_NONE, zbar::ZBAR_CFG_Y_DENSITY, step);
  zbar::Image image(grey.width, grey.height, "Y800", grey.pixels.data(), grey.pixels.size());
  std::vector<std::string> texts;
  if (scanner.scan(image) < 0) return texts;
  for (const auto* symbol = zbar::zbar_image_first_symbol(image); symbol != nullptr;
       symbol = zbar::zbar_symbol_next(symbol)) {
    const char* text = zbar::zbar_symbol_get_data(symbol);
    // The library does not say otherwise that it got no memory.
    if (text == nullptr) throw std::bad_alloc();
    texts.emplace_back(text, zbar::zbar_symbol_get_data_length(symbol));
  }
  image.set_data(nullptr, 0);
  return texts;
}

void read(const std::string& path, QrImage* result) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    result->error =
        translatedWith("There is no file {}; give an otpauth:// URL or an image file", path);
    return;
  }
  const std::string too_large =
      translatedWith("{} is too large an image; crop it to the QR code", path);
  if (status.st_size > most_bytes) {
    result->error = too_large;
    return;
  }
  std::string bytes;
  if (readRegularFile(path, &bytes) != 0) {
    result->error = translatedWith("Cannot read {} as an image; use a PNG or JPEG file", path);
    return;
  }
  const std::span file(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  const auto cost = costOfImage(file);
  if (cost && !isAffordable(*cost)) {
    result->error = too_large;
    return;
  }
  auto grey = decodeImage(file);
  if (!grey) {
    result->error =
        translatedWith("{} is not a readable PNG or JPEG image; use another file", path);
    return;
  }
  std::string().swap(bytes);
  std::vector<std::string> texts = qrTexts(reduced(std::move(*grey), most_searched_pixels));
  if (texts.empty()) {
    result->error = translatedWith("No QR code found in {}; use a sharper or larger image", path);
  } else if (texts.size() > 1) {
    result->error = translatedWith("{} has several QR codes; crop it to the one you want", path);
  } else if (!isUtf8(texts.front())) {
    result->error = translatedWith(
        "The QR code in {} holds no text; use one that holds an otpauth:// URL", path);
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
