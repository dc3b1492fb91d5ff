#include "platform/curl/limit_words.h"

#include <chrono>
#include <cstddef>
#include <string>

namespace talvane {

std::string inWords(std::chrono::milliseconds time) {
  const auto count = [](auto number, const char* unit) {
    return std::to_string(number) + ' ' + unit + (number == 1 ? "" : "s");
  };
  constexpr int second = 1000;
  constexpr int minute = 60 * second;
  if (time.count() >= 2 * minute && time.count() % minute == 0) {
    return count(time.count() / minute, "minute");
  }
  if (time.count() % second == 0) return count(time.count() / second, "second");
  return count(time.count(), "millisecond");
}

std::string inWords(std::size_t bytes) {
  constexpr std::size_t megabyte = std::size_t{1} << 20;
  if (bytes % megabyte == 0) return std::to_string(bytes / megabyte) + " MB";
  return std::to_string(bytes) + " bytes";
}

}  // namespace talvane
