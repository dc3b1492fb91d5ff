// Cookies: kept in the loader, sent back, and deleted for one address.

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "tests/enrol/http_test.h"
#include "tests/enrol/https_server.h"

namespace talvane::test {
namespace {

const std::string no_cookie = "(none)";

/// Sets the cookie that it is told for the next request, and tells which ones came.
class HttpCookiesTest : public HttpTest {
 protected:
  explicit HttpCookiesTest(bool version_6 = false)
      : server(
            [this](LoopbackServer::Connection& connection, const std::string& request) {
              const std::lock_guard guard(mutex);
              sent = headerOf(request, "cookie");
              connection.send(
                  response("200 OK", "", next.empty() ? "" : "Set-Cookie: " + next + "\r\n"));
            },
            version_6) {}

  void setCookie(const std::string& cookie, const std::string& path = "/",
                 const std::string& host = "127.0.0.1") {
    useNext(cookie);
    EXPECT_EQ(got(server.url(path, host)).status(), 200);
    useNext("");
  }

  /// What a request for that address carries.
  std::string carried(const std::string& path = "/", const std::string& host = "127.0.0.1") {
    EXPECT_EQ(got(server.url(path, host)).status(), 200);
    const std::lock_guard guard(mutex);
    return sent;
  }

  void clear(const std::string& path = "/", const std::string& host = "127.0.0.1") {
    client().clearcookies(server.url(path, host));
  }

  std::mutex mutex;
  std::string next;
  std::string sent;
  LoopbackServer server;

 private:
  void useNext(const std::string& cookie) {
    const std::lock_guard guard(mutex);
    next = cookie;
  }
};

TEST_F(HttpCookiesTest, KeptFromOneRequestToTheNext) {
  setCookie("session=1; Path=/");
  EXPECT_EQ(carried(), "session=1");
  EXPECT_EQ(carried("/elsewhere"), "session=1");
}

TEST_F(HttpCookiesTest, SharedByClientsOfOneLoader) {
  TaHttp first = client();
  TaHttp second = client();
  next = "session=shared; Path=/";
  first.get(server.url());
  second.post(server.url(), "a=b");
  const std::lock_guard guard(mutex);
  EXPECT_EQ(sent, "session=shared");
}

TEST_F(HttpCookiesTest, AnotherLoaderHasItsOwn) {
  setCookie("session=1; Path=/");
  useLimits({});
  EXPECT_EQ(carried(), no_cookie);
}

TEST_F(HttpCookiesTest, LaterOneReplacesTheEarlier) {
  setCookie("session=1; Path=/");
  setCookie("session=2; Path=/");
  EXPECT_EQ(carried(), "session=2");
}

TEST_F(HttpCookiesTest, ServerCanDeleteOne) {
  setCookie("session=1; Path=/");
  setCookie("session=; Path=/; Max-Age=0");
  EXPECT_EQ(carried(), no_cookie);
}

TEST_F(HttpCookiesTest, ClearedForTheAddress) {
  setCookie("a=1; Path=/");
  setCookie("b=2; Path=/; HttpOnly");
  setCookie("c=3; Path=/; Max-Age=3600");
  setCookie("d=; Path=/");
  clear();
  EXPECT_EQ(carried(), no_cookie);
}

TEST_F(HttpCookiesTest, CanBeSetAgainAfterwards) {
  setCookie("a=1; Path=/");
  clear();
  setCookie("a=2; Path=/");
  EXPECT_EQ(carried(), "a=2");
}

TEST_F(HttpCookiesTest, ClearingNothingIsHarmless) {
  clear();
  for (const char* url : {"", "nonsense", "http://", "http://nowhere.invalid/"}) {
    client().clearcookies(url);
  }
  EXPECT_EQ(carried(), no_cookie);
}

TEST_F(HttpCookiesTest, ClearedForEveryPortOfTheHost) {
  setCookie("a=1; Path=/");
  client().clearcookies("http://127.0.0.1:9/");
  EXPECT_EQ(carried(), no_cookie) << "cookies know no ports";
}

TEST_F(HttpCookiesTest, OtherHostsKeepTheirs) {
  setCookie("a=1; Path=/");
  for (const char* host : {"127.0.0.2", "localhost", "7.0.0.1", "27.0.0.1", "1.127.0.0.1"}) {
    clear("/", host);
  }
  EXPECT_EQ(carried(), "a=1");
}

// RFC 6265, section 5.1.4.
TEST_F(HttpCookiesTest, OtherPathsKeepTheirs) {
  setCookie("a=1; Path=/taenrol", "/taenrol/x");
  for (const char* path : {"/", "/taenro", "/taenrolment", "/other/taenrol"}) clear(path);
  EXPECT_EQ(carried("/taenrol/enrol.exe"), "a=1");
  clear("/taenrol/enrol.exe?SoftTokenMode=7200");
  EXPECT_EQ(carried("/taenrol/enrol.exe"), no_cookie);
}

TEST_F(HttpCookiesTest, PathThatIsMetExactly) {
  setCookie("a=1; Path=/taenrol", "/taenrol");
  clear("/taenrol");
  EXPECT_EQ(carried("/taenrol"), no_cookie);
}

TEST_F(HttpCookiesTest, PathThatEndsInASlash) {
  setCookie("a=1; Path=/taenrol/", "/taenrol/x");
  clear("/taenrolment");
  EXPECT_EQ(carried("/taenrol/x"), "a=1");
  clear("/taenrol/y");
  EXPECT_EQ(carried("/taenrol/x"), no_cookie);

  // libcurl ignores the slash.
  setCookie("a=2; Path=/taenrol/", "/taenrol/x");
  EXPECT_EQ(carried("/taenrol"), "a=2");
  clear("/taenrol");
  EXPECT_EQ(carried("/taenrol/x"), no_cookie);
}

TEST_F(HttpCookiesTest, PathThatIsNoneIsTheRoot) {
  for (const char* path : {"elsewhere", "?elsewhere", "\"/\"", "TRUE", "FALSE"}) {
    setCookie(std::string("session=1; Path=") + path, "/page");
    ASSERT_EQ(carried("/page"), "session=1") << path;
    clear("/page");
    EXPECT_EQ(carried("/page"), no_cookie) << path;
  }
}

TEST_F(HttpCookiesTest, OnlyThoseThatMatchGo) {
  setCookie("everywhere=1; Path=/");
  setCookie("here=2; Path=/here", "/here");
  setCookie("there=3; Path=/there", "/there");
  clear("/here");
  EXPECT_EQ(carried("/here"), no_cookie);
  EXPECT_EQ(carried("/there"), "there=3");
}

TEST_F(HttpCookiesTest, CookieOfADomainBelongsToHostsBelowIt) {
  setCookie("a=1; Path=/; Domain=app.localhost", "/", "www.app.localhost");
  ASSERT_EQ(carried("/", "other.app.localhost"), "a=1");
  clear("/", "other.localhost");
  clear("/", "notapp.localhost");
  EXPECT_EQ(carried("/", "www.app.localhost"), "a=1");
  clear("/", "other.app.localhost");
  EXPECT_EQ(carried("/", "www.app.localhost"), no_cookie);
}

TEST_F(HttpCookiesTest, CookieOfADomainBelongsToTheDomainItself) {
  setCookie("a=1; Path=/; Domain=app.localhost", "/", "www.app.localhost");
  clear("/", "app.localhost");
  EXPECT_EQ(carried("/", "www.app.localhost"), no_cookie);
}

TEST_F(HttpCookiesTest, CookieOfAHostDoesNotBelongToHostsBelowIt) {
  setCookie("a=1; Path=/", "/", "app.localhost");
  clear("/", "www.app.localhost");
  EXPECT_EQ(carried("/", "app.localhost"), "a=1");
  clear("/", "app.localhost");
  EXPECT_EQ(carried("/", "app.localhost"), no_cookie);
}

TEST_F(HttpCookiesTest, HostInUpperCaseIsTheSame) {
  setCookie("a=1; Path=/", "/", "app.localhost");
  clear("/", "APP.localhost");
  EXPECT_EQ(carried("/", "app.localhost"), no_cookie);
}

TEST_F(HttpCookiesTest, SecureOneIsClearedForHttpsAlone) {
  const TemporaryFolder folder;
  const Certificate certificate = makeCertificate(folder.path(), "DNS:app.localhost");
  std::mutex secure_mutex;
  std::string came;
  HttpsServer secure(certificate, [&](const std::string& path, const std::string& cookies) {
    const std::lock_guard guard(secure_mutex);
    came = cookies;
    return HttpsReply{200, "", path == "/set" ? "a=1; Path=/; Secure" : "", ""};
  });
  trust(certificate.file);
  EXPECT_EQ(got(secure.url("/set", "app.localhost")).status(), 200);
  EXPECT_EQ(got(secure.url("/", "app.localhost")).status(), 200);
  EXPECT_EQ(came, "a=1");
  EXPECT_EQ(carried("/", "app.localhost"), no_cookie) << "never over http";
  clear("/", "app.localhost");
  EXPECT_EQ(got(secure.url("/", "app.localhost")).status(), 200);
  EXPECT_EQ(came, "a=1");
  client().clearcookies("https://app.localhost/");
  EXPECT_EQ(got(secure.url("/", "app.localhost")).status(), 200);
  EXPECT_EQ(came, "");
}

// libcurl takes the loopback host for secure whatever the scheme.
TEST_F(HttpCookiesTest, SecureOneOfTheLoopbackHostIsCleared) {
  setCookie("a=1; Path=/; Secure");
  clear();
  EXPECT_EQ(carried(), no_cookie);
}

TEST_F(HttpCookiesTest, ManyAreCleared) {
  for (int i = 0; i < 40; ++i) setCookie("c" + std::to_string(i) + "=x; Path=/");
  EXPECT_NE(carried(), no_cookie);
  clear();
  EXPECT_EQ(carried(), no_cookie);
}

TEST_F(HttpCookiesTest, RedirectCarriesTheCookieThatItSet) {
  LoopbackServer away([this](LoopbackServer::Connection& connection, const std::string&) {
    connection.send(response("302 Found", "",
                             "Set-Cookie: onway=1; Path=/\r\nLocation: " + server.url() + "\r\n"));
  });
  EXPECT_EQ(got(away.url()).status(), 200);
  const std::lock_guard guard(mutex);
  EXPECT_EQ(sent, "onway=1");
}

class HttpCookiesVersion6Test : public HttpCookiesTest {
 protected:
  HttpCookiesVersion6Test() : HttpCookiesTest(true) {}
};

TEST_F(HttpCookiesVersion6Test, ClearedForANumericHost) {
  if (!server.running()) GTEST_SKIP() << "there is no IPv6";
  setCookie("a=1; Path=/", "/", "[::1]");
  ASSERT_EQ(carried("/", "[::1]"), "a=1");
  clear("/", "[::1]");
  EXPECT_EQ(carried("/", "[::1]"), no_cookie);
}

}  // namespace
}  // namespace talvane::test
