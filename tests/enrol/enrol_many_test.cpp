// A thousand enrolments in one process.

#include <sys/resource.h>

#include "tests/enrol/flow_test.h"
#include "tests/support/sanitized.h"

namespace talvane::test {
namespace {

// In units that differ from system to system.
long mostMemory() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

class EnrolManyTest : public FlowTest {
 protected:
  void enrol() {
    views.open = View::eva;
    startFilledIn();
    script.answer(accepting());
    script.answer(complete);
    flow->eva_submitclicked();
    ASSERT_TRUE(flow->ending() && flow->ending()->stored);
    views.calls.clear();
    script.forget();
  }
};

TEST_F(EnrolManyTest, ThousandLeaveNothingBehind) {
  recorder.listening = false;
  for (int i = 0; i < 200; ++i) enrol();
  const long before = mostMemory();
  for (int i = 0; i < 1000; ++i) enrol();
  if (!sanitized) {
    EXPECT_LT(mostMemory() - before, before / 40) << "about half a kilobyte for each";
  }
  EXPECT_EQ(storedNames(), Lines{"Work"});
}

}  // namespace
}  // namespace talvane::test
