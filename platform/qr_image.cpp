#include "platform/qr_image.h"

#include <string>

#include "platform/modules.h"
#include "platform/translation.h"

namespace talvane {

QrImage readQrImage(const std::string& path) {
  QrImage image;
  using Reader = void (*)(const std::string&, QrImage*);
  const auto reader =
      reinterpret_cast<Reader>(moduleFunction("qr-image", "softtoken_read_qr_image", &image.error));
  if (reader == nullptr) {
    image.error = translatedWith(
        "Cannot load the module that reads images ({}); reinstall the "
        "program, with libzbar, libpng and libturbojpeg",
        image.error);
    return image;
  }
  reader(path, &image);
  return image;
}

}  // namespace talvane
