#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace talvane {

/// One byte per pixel, rows from the top.
struct GreyImage {
  unsigned width = 0;
  unsigned height = 0;
  std::vector<std::uint8_t> pixels;
};

/// Decodes a PNG or JPEG file of at most 64 million pixels; transparent pixels are white.
std::optional<GreyImage> decodeImage(std::span<const std::uint8_t> file);

}  // namespace talvane
