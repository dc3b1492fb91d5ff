#pragma once

#include <cstdlib>
#include <string>
#include <vector>

namespace talvane::test {

/// What sanitizers and coverage are told, as entries of an environment.
inline std::vector<std::string> sanitizerOptions() {
  std::vector<std::string> entries;
  for (const char* name :
       {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS", "LLVM_PROFILE_FILE"}) {
    const char* value = std::getenv(name);
    if (value != nullptr) entries.push_back(std::string(name) + '=' + value);
  }
  return entries;
}

}  // namespace talvane::test
