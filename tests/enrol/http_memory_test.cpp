// What requests leave in memory.

#include <string>

#include "tests/enrol/http_test.h"
#include "tests/support/in_child.h"
#include "tests/support/memory_search.h"

namespace talvane::test {
namespace {

constexpr Secret asked("zQ5cTxRw8-DROWSSAP-vLm3Jd");
constexpr Secret answered("kHp6YbNs2-DEES-gFu9Xe");

using HttpMemoryTest = HttpTest;

TEST_F(HttpMemoryTest, NothingIsLeftOfARequestAndItsReply) {
  if (!Secret::canSearch()) GTEST_SKIP() << "freed memory stays as it was";
  LoopbackServer server([](LoopbackServer::Connection& connection, const std::string& request) {
    // Each on a connection of its own, and on one that is used again.
    connection.send(response("200 OK", answered.text()));
    static_cast<void>(request);
  });
  // The server keeps what it heard, in its own process.
  inChild([&] {
    for (int i = 0; i < 3; ++i) {
      TaHttp http = client();
      http.post(server.url(), asked.text());
      ASSERT_EQ(http.status(), 200);
      EXPECT_GE(answered.copies(), 1U) << "the search finds what is there";
    }
    EXPECT_EQ(asked.copies(), 0U);
    EXPECT_EQ(answered.copies(), 0U);
  });
}

}  // namespace
}  // namespace talvane::test
