#pragma once

#include <fmt/core.h>

namespace talvane::test {

/// A value that counts how often it is formatted.
struct Watched {
  int* count;
};

}  // namespace talvane::test

template <>
struct fmt::formatter<talvane::test::Watched> {
  constexpr auto parse(format_parse_context& context) { return context.begin(); }
  auto format(const talvane::test::Watched& watched, format_context& context) const {
    ++*watched.count;
    return context.out();
  }
};
