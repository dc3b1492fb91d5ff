#pragma once

#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "engine/cleared.h"
#include "tests/support/writable_memory.h"

namespace talvane::test {

/// A secret to search this process's memory for. It is kept backwards, so that the search does not
/// find the test's own copy.
class Secret {
 public:
  explicit constexpr Secret(std::string_view backwards) : backwards_(backwards) {}

  [[nodiscard]] std::size_t size() const { return backwards_.size(); }
  [[nodiscard]] char at(std::size_t place) const { return backwards_[size() - 1 - place]; }
  [[nodiscard]] Cleared<std::string> text() const {
    Cleared<std::string> result;
    std::string& text = result.mutableValue();
    text.reserve(size());
    for (std::size_t i = 0; i < size(); ++i) text += at(i);
    return result;
  }

  /// How often the writable memory holds it, in ASCII or in UTF-16. No other thread may run.
  [[nodiscard]] std::size_t copies() const {
    std::vector<char> piece(piece_size);
    const auto own = reinterpret_cast<std::uintptr_t>(piece.data());
    std::size_t found = 0;
    const auto search = [&](std::uintptr_t begin, std::uintptr_t end) {
      for (std::uintptr_t place = begin; place < end; place += piece_size - 2 * size()) {
        // Through the system: a page that cannot be read is none of ours.
        const iovec to{piece.data(), piece.size()};
        const iovec from{reinterpret_cast<void*>(place),
                         std::min<std::size_t>(piece_size, end - place)};
        const ssize_t length = process_vm_readv(getpid(), &to, 1, &from, 1, 0);
        if (length <= 0) break;
        found += copiesBetween(piece.data(), piece.data() + length);
      }
    };
    for (const WritableMemory& memory : writableMemory(getpid())) {
      search(memory.begin, std::min(memory.end, own));
      search(std::max(memory.begin, own + piece_size), memory.end);
    }
    clearMemory(piece.data(), piece.size());
    return found;
  }

  /// Sanitizers keep freed memory as it was, and much of their own; only Linux lists the memory.
  static constexpr bool canSearch() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || !defined(__linux__)
    return false;
#else
    return true;
#endif
  }

 private:
  static constexpr std::size_t piece_size = std::size_t{1} << 20;

  [[nodiscard]] std::size_t copiesBetween(const char* begin, const char* end) const {
    std::size_t found = 0;
    const char first = at(0);
    for (const char* here = begin; here < end; ++here) {
      here =
          static_cast<const char*>(std::memchr(here, first, static_cast<std::size_t>(end - here)));
      if (here == nullptr) break;
      for (const std::size_t width : {1U, 2U}) {
        if (isAt(here, end, width)) ++found;
      }
    }
    return found;
  }

  [[nodiscard]] bool isAt(const char* here, const char* end, std::size_t width) const {
    if (static_cast<std::size_t>(end - here) < size() * width) return false;
    for (std::size_t i = 0; i < size(); ++i) {
      if (here[i * width] != at(i)) return false;
      if (width == 2 && here[i * width + 1] != 0) return false;
    }
    return true;
  }

  std::string_view backwards_;
};

}  // namespace talvane::test
