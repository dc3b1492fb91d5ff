#pragma once

// What decoding an image costs, told from its headers before anything is decoded: a small file can
// hold an image that takes minutes or gigabytes.

#include <cstdint>
#include <optional>
#include <span>

namespace talvane {

struct ImageCost {
  /// PNG: bytes of all rows, and at least one for each pixel. JPEG: pixels times scans.
  std::uint64_t work = 0;
  /// Bytes: the file, the grey image, and a JPEG's coefficients if it has several scans.
  std::uint64_t memory = 0;
  /// The image is decoded to 1/scale of its width and height (1, 2, 4 or 8; PNG: 1).
  unsigned scale = 1;
};

/// Well below a second, and below 64 MB together with the search for the code.
inline constexpr std::uint64_t most_image_work = 100'000'000;
inline constexpr std::uint64_t most_image_memory = 56'000'000;

/// nullopt for what is neither a PNG nor a JPEG file (baseline or progressive).
std::optional<ImageCost> costOfImage(std::span<const std::uint8_t> file);

bool isAffordable(const ImageCost& cost);

}  // namespace talvane
