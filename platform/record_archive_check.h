#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace talvane {

/// The size limit of an archive, in bytes.
inline constexpr std::size_t largest_archive = 1024 * 1024;

/// Whether the bytes are a binary property list that can be read in bounded time and memory: at
/// most `largest_archive` bytes, all in bounds, of dictionaries, arrays, texts without NUL, data,
/// whole numbers of 64 bits and UIDs, none nested deeply, no array or dictionary in two places.
bool isSafePropertyList(std::span<const std::uint8_t> bytes);

}  // namespace talvane
