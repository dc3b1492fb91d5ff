#include "platform/core_dumps.h"

#include <gtest/gtest.h>

#include "tests/support/core_limit.h"
#include "tests/support/in_child.h"

namespace talvane::test {
namespace {

TEST(CoreDumps, AreForbiddenUntilTheyAreAllowed) {
  if (!WithCoreDumps::arePossible()) GTEST_SKIP() << "core dumps are forbidden here";
  inChild([] {
    const WithCoreDumps some;
    forbidCoreDumps();
    EXPECT_EQ(coreLimitOf(0), 0U);
    forbidCoreDumps();
    EXPECT_EQ(coreLimitOf(0), 0U);
    allowCoreDumps();
    EXPECT_EQ(coreLimitOf(0), WithCoreDumps::limit);
    forbidCoreDumps();
    EXPECT_EQ(coreLimitOf(0), 0U);
  });
}

TEST(CoreDumps, AllowingWhatWasNotForbiddenChangesNothing) {
  if (!WithCoreDumps::arePossible()) GTEST_SKIP() << "core dumps are forbidden here";
  inChild([] {
    const WithCoreDumps some;
    allowCoreDumps();
    EXPECT_EQ(coreLimitOf(0), WithCoreDumps::limit);
  });
}

}  // namespace
}  // namespace talvane::test
