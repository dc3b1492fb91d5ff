#pragma once

#include <cstddef>

namespace talvane {

/// How often this program has allocated through `operator new` so far.
std::size_t allocations();

}  // namespace talvane
