#include "enrol/workers.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>

namespace talvane::test {
namespace {

using namespace std::chrono_literals;

TEST(Workers, WorkIsDestroyedAsSoonAsItHasRun) {
  Workers workers;
  auto held = std::make_shared<int>(0);
  const std::weak_ptr<int> watched = held;
  workers.start([held] { ++*held; });
  held.reset();
  const auto deadline = std::chrono::steady_clock::now() + 20s;
  while (!watched.expired() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(1ms);
  }
  EXPECT_TRUE(watched.expired()) << "without a join";
}

}  // namespace
}  // namespace talvane::test
