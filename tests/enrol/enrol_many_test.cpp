// A thousand enrolments in one process.

#include <unistd.h>

#include <fstream>
#include <string>

#include "tests/enrol/flow_test.h"

namespace talvane::test {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool sanitized = true;  // what is freed is kept for a while
#else
constexpr bool sanitized = false;
#endif

long residentPages() {
  std::ifstream file("/proc/self/statm");
  long all = 0;
  long resident = 0;
  file >> all >> resident;
  return resident;
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
  const long before = residentPages();
  for (int i = 0; i < 1000; ++i) enrol();
  const long grown = (residentPages() - before) * sysconf(_SC_PAGESIZE);
  if (!sanitized) {
    EXPECT_LT(grown, 512 * 1024) << "half a kilobyte for each";
  }
  EXPECT_EQ(storedNames(), Lines{"Work"});
}

}  // namespace
}  // namespace talvane::test
