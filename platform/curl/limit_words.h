#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace talvane {

/// A limit in words, in the largest unit that is exact: "3 minutes" (from two on), "30 seconds",
/// "250 milliseconds".
std::string inWords(std::chrono::milliseconds time);

/// Likewise: "16 MB" (of 1024 × 1024 bytes), "1500 bytes".
std::string inWords(std::size_t bytes);

}  // namespace talvane
