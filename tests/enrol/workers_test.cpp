#include "enrol/workers.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <new>
#include <thread>

#ifdef __linux__
#include <sys/syscall.h>

#include "tests/support/failing_call.h"
#include "tests/support/in_child.h"
#endif

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

#ifdef __linux__
TEST(Workers, SystemWithoutRoomForAThread) {
  inChild([] {
    Workers workers;
    ASSERT_TRUE(letCallsFail({SYS_clone, SYS_clone3}, EAGAIN));
    EXPECT_THROW(workers.start([] {}), std::bad_alloc);
    EXPECT_THROW(workers.start([] {}), std::bad_alloc);
    workers.join();
  });
}
#endif

}  // namespace
}  // namespace talvane::test
