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

// Starts the program while no file can be opened. The limit ends with the call: the sanitizers,
// which check the objects of the test, need files as well.
std::unique_ptr<TerminalProcess> startedWithoutFiles() {
  rlimit before{};
  EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit none{0, before.rlim_max};
  EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  auto terminal = std::make_unique<TerminalProcess>(std::vector<std::string>{"/bin/true"},
                                                    std::vector<std::string>{});
  EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  return terminal;
}

TEST(TerminalProcess, WithoutTerminalSignalsNobody) {
  std::unique_ptr<TerminalProcess> terminal;
  EXPECT_NONFATAL_FAILURE(terminal = startedWithoutFiles(), "no terminal");
  // Signal 0 reaches whom another one would, and does nothing to them.
  EXPECT_NONFATAL_FAILURE(terminal->sendSignal(0), "no program to signal");
  EXPECT_FALSE(terminal->await("anything"));
  EXPECT_FALSE(terminal->awaitStopped());
  EXPECT_EQ(terminal->finish().exit_code, -1);
}

}  // namespace
}  // namespace talvane::test
