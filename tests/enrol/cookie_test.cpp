// What libcurl's lines of cookies say; http_cookies_test.cpp asks libcurl itself.

#include "platform/curl/cookie.h"

#include <gtest/gtest.h>

#include <string>

namespace talvane::test {
namespace {

// Fields of the Netscape cookie file format: domain, hosts below it too, path, secure, expiry, name
// and value.
TEST(Cookie, IsSentToWhatMatchesAllOfItsFields) {
  const struct {
    const char* line;
    const char* url[3];  // scheme, host, path
    bool sent;
  } rows[] = {
      {"srv.example\tFALSE\t/\tFALSE\t0\ta\t1", {"http", "srv.example", "/"}, true},
      {"srv.example\tFALSE\t/\tFALSE\t0\ta\t1", {"http", "www.srv.example", "/"}, false},
      {"srv.example\tFALSE\t/\tFALSE\t0\ta\t", {"http", "srv.example", "/x"}, true},
      {".srv.example\tTRUE\t/\tFALSE\t0\ta\t1", {"http", "www.srv.example", "/"}, true},
      {".srv.example\tTRUE\t/\tFALSE\t0\ta\t1", {"http", "srv.example", "/"}, true},
      {".srv.example\tTRUE\t/\tFALSE\t0\ta\t1", {"http", "notsrv.example", "/"}, false},
      {"#HttpOnly_srv.example\tFALSE\t/\tFALSE\t0\ta\t1", {"http", "srv.example", "/"}, true},
      {"srv.example\tFALSE\t/a\tFALSE\t0\ta\t1", {"http", "srv.example", "/a/b"}, true},
      {"srv.example\tFALSE\t/a\tFALSE\t0\ta\t1", {"http", "srv.example", "/ab"}, false},
      {"srv.example\tFALSE\t\"/a\"\tFALSE\t0\ta\t1", {"http", "srv.example", "/a"}, true},
      {"srv.example\tFALSE\t/\tTRUE\t0\ta\t1", {"https", "srv.example", "/"}, true},
      {"srv.example\tFALSE\t/\tTRUE\t0\ta\t1", {"http", "srv.example", "/"}, false},
      {"localhost\tFALSE\t/\tTRUE\t0\ta\t1", {"http", "localhost", "/"}, true},
      {"127.0.0.1\tFALSE\t/\tTRUE\t0\ta\t1", {"http", "127.0.0.1", "/"}, true},
      {"::1\tFALSE\t/\tTRUE\t0\ta\t1", {"http", "::1", "/"}, true},
      {"127.0.0.2\tFALSE\t/\tTRUE\t0\ta\t1", {"http", "127.0.0.2", "/"}, false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Cookie(row.line).isSentTo(row.url[0], row.url[1], row.url[2]), row.sent)
        << row.line << " to " << row.url[0] << "://" << row.url[1] << row.url[2];
  }
}

TEST(Cookie, LineThatIsNoneIsSentNowhere) {
  for (const char* line :
       {"", "srv.example", "# a comment", "srv.example\tFALSE\t/\tFALSE\t0\ta"}) {
    EXPECT_FALSE(Cookie(line).isSentTo("https", "srv.example", "/")) << line;
  }
}

TEST(Cookie, HostsAreInLowerCaseAndAddressesWithoutBrackets) {
  EXPECT_EQ(cookieHost("SRV.Example"), "srv.example");
  EXPECT_EQ(cookieHost("[FE80::1]"), "fe80::1");
  EXPECT_EQ(cookieHost("127.0.0.1"), "127.0.0.1");
}

TEST(Cookie, ExpiredOneDiffersInItsTimeAlone) {
  EXPECT_EQ(Cookie("srv.example\tTRUE\t/a\tTRUE\t2000000000\tname\tvalue").expired(),
            "srv.example\tTRUE\t/a\tTRUE\t1\tname\tvalue");
  EXPECT_EQ(Cookie("srv.example\tTRUE\tnowhere\tTRUE\t0\tname\t").expired(),
            "srv.example\tTRUE\tTRUE\t1\tname\t")
      << "a path that is none";
}

}  // namespace
}  // namespace talvane::test
