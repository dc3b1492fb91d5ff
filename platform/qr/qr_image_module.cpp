#include <stdio.h>
#include <sys/stat.h>
#include <zbar.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine/cleared.h"
#include "engine/text.h"
#include "platform/qr/grey_image.h"
#include "platform/qr_image.h"
#include "platform/regular_file.h"

namespace talvane {
namespace {

constexpr off_t most_bytes = 64'000'000;

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
  const auto grey = decodeImage(file);
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
