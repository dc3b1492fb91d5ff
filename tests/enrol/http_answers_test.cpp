// What comes of a request that is answered, and of one that cannot be sent.

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/enrol/http_test.h"

namespace talvane::test {
namespace {

using Names = std::vector<std::string>;
using HttpAnswersTest = HttpTest;

TEST_F(HttpAnswersTest, NothingBeforeTheFirstRequest) {
  const TaHttp http(loader);
  EXPECT_EQ(http.status(), 0);
  EXPECT_EQ(http.data(), nullptr);
  EXPECT_FALSE(http.error().has_value());
  EXPECT_FALSE(http.date().has_value());
}

TEST_F(HttpAnswersTest, PropertiesCanBeSet) {
  TaHttp http = client();
  http.setStatus(418);
  http.setData("tea");
  http.setError("no coffee [1]");
  EXPECT_EQ(http.status(), 418);
  EXPECT_STREQ(http.data(), "tea");
  EXPECT_EQ(http.error(), "no coffee [1]");
  http.setData(std::nullopt);
  http.setError(std::nullopt);
  EXPECT_EQ(http.data(), nullptr);
  EXPECT_FALSE(http.error().has_value());
}

TEST_F(HttpAnswersTest, EveryStatusIsReported) {
  for (const long status : {200L, 201L, 204L, 304L, 400L, 401L, 403L, 404L, 407L, 500L, 503L}) {
    LoopbackServer server("HTTP/1.1 " + std::to_string(status) +
                          " Words\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    const TaHttp http = got(server.url());
    EXPECT_EQ(http.status(), status);
    EXPECT_EQ(http.error(), "(null) [0]") << "an answer is no error, whatever it says";
  }
}

TEST_F(HttpAnswersTest, BodyOfAnErrorIsKept) {
  LoopbackServer server(response("500 Internal Server Error", "RESULT:Out of order\r\n"));
  const TaHttp http = got(server.url());
  EXPECT_EQ(http.status(), 500);
  EXPECT_STREQ(http.data(), "RESULT:Out of order\r\n");
}

TEST_F(HttpAnswersTest, BodyOfAProxyRefusalIsKept) {
  LoopbackServer server(response("407 Proxy Authentication Required", "who?",
                                 "Proxy-Authenticate: Basic realm=\"x\"\r\n"));
  const TaHttp http = got(server.url());
  EXPECT_EQ(http.status(), 407);
  EXPECT_STREQ(http.data(), "who?");
}

TEST_F(HttpAnswersTest, BodyIsFollowedByAZeroByte) {
  for (const std::size_t size : {1U, 15U, 16U, 4096U, 100000U}) {
    const std::string body(size, 'b');
    LoopbackServer server(response("200 OK", body));
    const TaHttp http = got(server.url());
    ASSERT_NE(http.data(), nullptr);
    EXPECT_EQ(std::memcmp(http.data(), body.c_str(), size + 1), 0) << size;
  }
}

TEST_F(HttpAnswersTest, EmptyBodyIsAZeroByteAlone) {
  LoopbackServer server(response("200 OK", ""));
  const TaHttp http = got(server.url());
  ASSERT_NE(http.data(), nullptr);
  EXPECT_EQ(http.data()[0], '\0');
}

TEST_F(HttpAnswersTest, ZeroBytesInTheBodyAreKept) {
  const std::string body("a\0b\0", 4);
  LoopbackServer server(response("200 OK", body));
  const TaHttp http = got(server.url());
  ASSERT_NE(http.data(), nullptr);
  EXPECT_EQ(std::memcmp(http.data(), body.c_str(), 5), 0);
}

TEST_F(HttpAnswersTest, SecondRequestReplacesEverything) {
  LoopbackServer first(
      response("404 Not Found", "first", "Date: Thu, 01 Jan 1970 00:01:40 GMT\r\n"));
  LoopbackServer second(response("200 OK", "second"));
  TaHttp http = client();
  http.get(first.url());
  EXPECT_EQ(http.status(), 404);
  EXPECT_STREQ(http.data(), "first");
  EXPECT_EQ(http.date(), 100);
  http.get(second.url());
  EXPECT_EQ(http.status(), 200);
  EXPECT_STREQ(http.data(), "second");
  EXPECT_EQ(http.error(), "(null) [0]");
  EXPECT_FALSE(http.date().has_value());
  http.get("http://127.0.0.1:1/");
  expectFailure(http, cannot_connect);
  http.get(second.url());
  EXPECT_EQ(http.status(), 200);
  EXPECT_EQ(http.error(), "(null) [0]");
}

TEST_F(HttpAnswersTest, ServersClockIsRead) {
  LoopbackServer server(response("200 OK", "", "Date: Sun, 06 Nov 1994 08:49:37 GMT\r\n"));
  EXPECT_EQ(got(server.url()).date(), 784111777);  // the example of RFC 9110, section 5.6.7
}

TEST_F(HttpAnswersTest, ClockThatCannotBeReadIsNone) {
  LoopbackServer server(response("200 OK", "body", "Date: tomorrow\r\n"));
  const TaHttp http = got(server.url());
  EXPECT_EQ(http.status(), 200);
  EXPECT_FALSE(http.date().has_value());
}

TEST_F(HttpAnswersTest, UnreachableServer) {
  std::uint16_t port = 0;
  {
    LoopbackServer gone("");
    port = gone.port();
  }
  expectFailure(got("http://127.0.0.1:" + std::to_string(port) + "/"), cannot_connect);
}

TEST_F(HttpAnswersTest, HostThatDoesNotExist) {
  expectFailure(got("http://nowhere.invalid/"), cannot_resolve);
}

TEST_F(HttpAnswersTest, AddressesThatAreNone) {
  for (const char* url : {"", "http://", "http:///x", "nonsense", "http://[::1", "http://a:99999/",
                          "file:///etc/passwd", "ftp://127.0.0.1/", "gopher://127.0.0.1/"}) {
    const TaHttp http = got(url);
    EXPECT_EQ(http.status(), 0) << url;
    EXPECT_EQ(http.data(), nullptr) << url;
    EXPECT_TRUE(http.error() && http.error()->ends_with(']')) << url;
  }
}

TEST_F(HttpAnswersTest, WithoutALoader) {
  TaHttp http(nullptr, "The part that talks to servers is missing");
  http.clearcookies("http://127.0.0.1/");
  http.post("http://127.0.0.1/", "a=b");
  EXPECT_EQ(http.status(), 0);
  EXPECT_EQ(http.data(), nullptr);
  EXPECT_EQ(http.error(), "The part that talks to servers is missing [0]");
}

TEST_F(HttpAnswersTest, GetSendsNoBodyAndNoHeadersOfItsOwn) {
  LoopbackServer server(response("200 OK", ""));
  got(server.url("/taenrol/enrol.exe?SoftTokenMode=7200"));
  const auto requests = server.finish();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(lineOf(requests[0]), "GET /taenrol/enrol.exe?SoftTokenMode=7200");
  EXPECT_EQ(headerNames(requests[0]), (Names{"accept", "host"}));
  EXPECT_EQ(bodyOf(requests[0]), "");
}

TEST_F(HttpAnswersTest, PostSendsTheBodyAndNoHeadersOfItsOwn) {
  LoopbackServer server(response("200 OK", ""));
  TaHttp http = client();
  http.post(server.url("/page"), "userid=U&PASSWORD=P&PASSCODE=C");
  const auto requests = server.finish();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(lineOf(requests[0]), "POST /page");
  EXPECT_EQ(headerNames(requests[0]), (Names{"accept", "content-length", "content-type", "host"}));
  EXPECT_EQ(headerOf(requests[0], "content-length"), "30");
  EXPECT_EQ(bodyOf(requests[0]), "userid=U&PASSWORD=P&PASSCODE=C");
}

TEST_F(HttpAnswersTest, EmptyBodyIsStillAPost) {
  LoopbackServer server(response("200 OK", ""));
  TaHttp http = client();
  http.post(server.url(), "");
  const auto requests = server.finish();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(lineOf(requests[0]), "POST /");
  EXPECT_EQ(headerOf(requests[0], "content-length"), "0");
  EXPECT_EQ(bodyOf(requests[0]), "");
}

TEST_F(HttpAnswersTest, GetAfterAPostIsAGet) {
  LoopbackServer server(response("200 OK", ""));
  TaHttp http = client();
  http.post(server.url(), "a=b");
  http.get(server.url());
  const auto requests = server.finish();
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_EQ(lineOf(requests[1]), "GET /");
  EXPECT_EQ(headerNames(requests[1]), (Names{"accept", "host"}));
}

struct Cut {
  const char* body;
  std::string sent;
};

// As many bytes as there are UTF-16 units.
TEST_F(HttpAnswersTest, BodyThatIsNotAsciiIsCutShort) {
  const std::vector<Cut> cuts{
      {"\xC3\xA9", "\xC3"},                 // e with acute: 1 unit, 2 bytes
      {"p=\xC3\xA9&q=1", "p=\xC3\xA9&q="},  // 7 units, 8 bytes
      {"\xE2\x82\xAC", "\xE2"},             // euro sign: 1 unit, 3 bytes
      {"\xF0\x9F\x94\x91", "\xF0\x9F"},     // a key: 2 units, 4 bytes
      {"plain", "plain"},
  };
  for (const Cut& cut : cuts) {
    LoopbackServer server(response("200 OK", ""));
    TaHttp http = client();
    http.post(server.url(), cut.body);
    const auto requests = server.finish();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(bodyOf(requests[0]), cut.sent);
    EXPECT_EQ(headerOf(requests[0], "content-length"), std::to_string(cut.sent.size()));
  }
}

TEST_F(HttpAnswersTest, BodyWithZeroBytesAndMarks) {
  const std::string body("a=\0\r\n\r\n&\"", 9);
  LoopbackServer server(response("200 OK", ""));
  TaHttp http = client();
  http.post(server.url(), body);
  const auto requests = server.finish();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(bodyOf(requests[0]), body);
}

TEST_F(HttpAnswersTest, BodyInChunks) {
  LoopbackServer server(
      "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nConnection: close\r\n\r\n"
      "6\r\nRESULT\r\n3\r\n:OK\r\n0\r\n\r\n");
  const TaHttp http = got(server.url());
  EXPECT_EQ(http.status(), 200);
  EXPECT_STREQ(http.data(), "RESULT:OK");
}

TEST_F(HttpAnswersTest, BodyUpToTheEndOfTheConnection) {
  LoopbackServer server("HTTP/1.0 200 OK\r\n\r\nRESULT:OK\r\n");
  const TaHttp http = got(server.url());
  EXPECT_EQ(http.status(), 200);
  EXPECT_STREQ(http.data(), "RESULT:OK\r\n");
}

TEST_F(HttpAnswersTest, LongBodiesBothWays) {
  const std::string answer(10U << 20U, 'a');
  const std::string question(5U << 20U, 'q');
  LoopbackServer server(response("200 OK", answer));
  TaHttp http = client();
  http.post(server.url(), question);
  EXPECT_EQ(http.status(), 200);
  ASSERT_NE(http.data(), nullptr);
  EXPECT_EQ(std::strlen(http.data()), answer.size());
  const auto requests = server.finish();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(bodyOf(requests[0]).size(), question.size());
}

}  // namespace
}  // namespace talvane::test
