// A machine may have no pseudo-terminals, or none left.

#include "tests/cli/terminal_process.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <memory>
#include <string>
#include <vector>

namespace talvane::test {
namespace {

TEST(TerminalProcess, WithoutTerminalSignalsNobody) {
  std::unique_ptr<TerminalProcess> terminal;
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit none{0, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  EXPECT_NONFATAL_FAILURE(terminal = std::make_unique<TerminalProcess>(
                              std::vector<std::string>{"/bin/true"}, std::vector<std::string>{}),
                          "no terminal");
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  // Signal 0 reaches whom another one would, and does nothing to them.
  EXPECT_NONFATAL_FAILURE(terminal->sendSignal(0), "no program to signal");
  EXPECT_FALSE(terminal->await("anything"));
  EXPECT_FALSE(terminal->awaitStopped());
  EXPECT_EQ(terminal->finish().exit_code, -1);
}

}  // namespace
}  // namespace talvane::test
