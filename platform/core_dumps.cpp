#include "platform/core_dumps.h"

#include <sys/resource.h>

#include <optional>

namespace talvane {
namespace {

std::optional<rlimit>& before() {
  static std::optional<rlimit> limit;
  return limit;
}

}  // namespace

void forbidCoreDumps() {
  rlimit limit{};
  if (before() || getrlimit(RLIMIT_CORE, &limit) != 0) return;
  const rlimit none{0, limit.rlim_max};
  if (setrlimit(RLIMIT_CORE, &none) == 0) before() = limit;
}

void allowCoreDumps() {
  if (before() && setrlimit(RLIMIT_CORE, &*before()) == 0) before().reset();
}

}  // namespace talvane
