#include "platform/qr/image_cost.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace talvane {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint64_t most_scaled_pixels = 8'000'000;

std::uint64_t number(Bytes bytes, std::size_t at, std::size_t length) {
  std::uint64_t value = 0;
  for (const std::uint8_t byte : bytes.subspan(at, length)) value = value << 8U | byte;
  return value;
}

// PNG specification, 5.2 and 11.2.2: the signature, then the chunk IHDR.
std::optional<ImageCost> costOfPng(Bytes file) {
  constexpr std::array<std::uint8_t, 4> header{'I', 'H', 'D', 'R'};
  if (file.size() < 33 || !std::equal(header.begin(), header.end(), file.begin() + 12)) {
    return std::nullopt;
  }
  const std::uint64_t width = number(file, 16, 4);
  const std::uint64_t height = number(file, 20, 4);
  const std::uint64_t depth = file[24];
  constexpr std::array<std::uint64_t, 7> channels{1, 0, 3, 1, 2, 0, 4};
  const std::size_t colour = file[25];
  if (width == 0 || height == 0 || colour >= channels.size() || channels[colour] == 0 ||
      depth > 16) {
    return std::nullopt;
  }
  ImageCost cost;
  cost.work = std::max(width * height, (width * channels[colour] * depth + 7) / 8 * height);
  cost.memory = file.size() + width * height;
  return cost;
}

// What the markers of a JPEG file say of it (ITU-T T.81, annex B).
struct JpegHead {
  bool progressive = false;
  std::uint64_t width = 0;
  std::uint64_t height = 0;
  std::uint64_t components = 0;
  std::uint64_t coefficients = 0;
  std::uint64_t scans = 0;
  bool partial_scan = false;  // some scan lacks a component
};

// Takes a frame's header. Counts coefficients in whole blocks of the largest sampling.
bool takeFrame(Bytes frame, JpegHead* head) {
  if (frame.size() < 6 || head->components != 0) return false;
  head->height = number(frame, 1, 2);
  head->width = number(frame, 3, 2);
  head->components = frame[5];
  if (head->width == 0 || head->height == 0 || head->components == 0 || head->components > 4 ||
      frame.size() < 6 + 3 * head->components) {
    return false;
  }
  std::uint64_t samples = 0;
  std::uint64_t widest = 1;
  std::uint64_t highest = 1;
  for (std::size_t i = 0; i < head->components; ++i) {
    const std::uint64_t across = frame[7 + 3 * i] >> 4U;
    const std::uint64_t down = frame[7 + 3 * i] & 15U;
    if (across == 0 || across > 4 || down == 0 || down > 4) return false;
    widest = std::max(widest, across);
    highest = std::max(highest, down);
    samples += across * down;
  }
  const std::uint64_t columns = (head->width + 8 * widest - 1) / (8 * widest);
  const std::uint64_t rows = (head->height + 8 * highest - 1) / (8 * highest);
  head->coefficients = columns * rows * samples * 64;
  return true;
}

// Finds the markers as a decoder does: what lies between segments is data of a scan, or skipped.
std::optional<JpegHead> readJpegHead(Bytes file) {
  constexpr std::uint8_t baseline = 0xC0;
  constexpr std::uint8_t extended = 0xC1;
  constexpr std::uint8_t progressive = 0xC2;
  constexpr std::uint8_t end_of_image = 0xD9;
  constexpr std::uint8_t start_of_scan = 0xDA;
  JpegHead head;
  std::size_t at = 2;
  for (;;) {
    const auto rest = file.subspan(std::min(at, file.size()));
    const auto mark = std::find(rest.begin(), rest.end(), 0xFF);
    at = file.size() - static_cast<std::size_t>(rest.end() - mark) + 1;
    while (at < file.size() && file[at] == 0xFF) ++at;
    if (at >= file.size()) break;
    const std::uint8_t kind = file[at++];
    if (kind == end_of_image) break;
    // Stuffed data, restarts and markers without a segment.
    if (kind <= 0x01 || (kind >= 0xD0 && kind <= 0xD8)) continue;
    if (at + 2 > file.size()) break;
    const std::uint64_t length = number(file, at, 2);
    if (length < 2 || length > file.size() - at) break;
    const Bytes segment = file.subspan(at + 2, length - 2);
    at += length;
    const bool is_frame =
        kind >= 0xC0 && kind <= 0xCF && kind != 0xC4 && kind != 0xC8 && kind != 0xCC;
    if (is_frame) {
      if (kind != baseline && kind != extended && kind != progressive) return std::nullopt;
      head.progressive = kind == progressive;
      if (!takeFrame(segment, &head)) return std::nullopt;
    } else if (kind == start_of_scan) {
      ++head.scans;
      head.partial_scan =
          head.partial_scan || segment.empty() || segment.front() != head.components;
    }
  }
  if (head.components == 0 || head.scans == 0) return std::nullopt;
  return head;
}

std::optional<ImageCost> costOfJpeg(Bytes file) {
  const auto head = readJpegHead(file);
  if (!head) return std::nullopt;
  const std::uint64_t pixels = head->width * head->height;
  ImageCost cost;
  while (cost.scale < 8 && pixels / cost.scale / cost.scale > most_scaled_pixels) cost.scale *= 2;
  cost.work = pixels * head->scans;
  cost.memory = file.size() + pixels / cost.scale / cost.scale;
  // The decoder keeps them, two bytes each, unless one scan holds everything.
  const bool keeps = head->progressive || head->partial_scan || head->scans > 1;
  if (keeps) cost.memory += 2 * head->coefficients;
  return cost;
}

}  // namespace

std::optional<ImageCost> costOfImage(std::span<const std::uint8_t> file) {
  constexpr std::array<std::uint8_t, 8> png{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  constexpr std::array<std::uint8_t, 2> jpeg{0xFF, 0xD8};
  const auto starts = [&](const auto& mark) {
    return file.size() >= mark.size() && std::equal(mark.begin(), mark.end(), file.begin());
  };
  if (starts(png)) return costOfPng(file);
  if (starts(jpeg)) return costOfJpeg(file);
  return std::nullopt;
}

bool isAffordable(const ImageCost& cost) {
  return cost.work <= most_image_work && cost.memory <= most_image_memory;
}

}  // namespace talvane
