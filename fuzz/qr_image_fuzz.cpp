// Any bytes as an image file.

#include <cstdint>
#include <cstdlib>

#include "platform/qr/grey_image.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto image = talvane::decodeImage({data, size});
  if (!image) return 0;
  if (image->width == 0 || image->height == 0) std::abort();
  if (image->pixels.size() != std::size_t{image->width} * image->height) std::abort();
  return 0;
}
