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

/// Decodes a PNG or JPEG file whose cost (image_cost.h) is affordable, a large JPEG to a half, a
/// quarter or an eighth of its size; transparent pixels are white. nullopt for any other file.
std::optional<GreyImage> decodeImage(std::span<const std::uint8_t> file);

/// The image, reduced by a whole factor to at most `most_pixels` if it has more.
GreyImage reduced(GreyImage image, std::uint64_t most_pixels);

}  // namespace talvane
