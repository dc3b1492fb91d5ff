// Servers that mean ill or are ill.

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "tests/enrol/http_test.h"

namespace talvane::test {
namespace {

using namespace std::chrono_literals;
using Connection = LoopbackServer::Connection;
using HttpHostileTest = HttpTest;

TEST_F(HttpHostileTest, ClosesWithoutAWord) {
  LoopbackServer server("");
  expectFailure(got(server.url()), got_nothing);
}

TEST_F(HttpHostileTest, ResetsTheConnection) {
  LoopbackServer server([](Connection& connection, const std::string&) { connection.reset(); });
  const TaHttp http = got(server.url());
  EXPECT_EQ(http.status(), 0);
  EXPECT_EQ(http.data(), nullptr);
}

TEST_F(HttpHostileTest, ClosesWithinTheHead) {
  LoopbackServer server("HTTP/1.1 200 OK\r\nContent-Le");
  const TaHttp http = got(server.url());
  EXPECT_EQ(http.data() == nullptr, http.status() == 0);
}

TEST_F(HttpHostileTest, HalfABodyIsNoBody) {
  LoopbackServer server(
      "HTTP/1.1 200 OK\r\nContent-Length: 100\r\nConnection: close\r\n\r\nRESULT:OK\r\n");
  expectFailure(got(server.url()), partial_file);
}

TEST_F(HttpHostileTest, HalfAChunkIsNoBody) {
  LoopbackServer server(
      "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nConnection: close\r\n\r\n"
      "64\r\nRESULT:OK\r\n");
  const TaHttp http = got(server.url());
  EXPECT_EQ(http.status(), 0);
  EXPECT_EQ(http.data(), nullptr);
}

TEST_F(HttpHostileTest, ChunksThatAreNone) {
  LoopbackServer server(
      "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nConnection: close\r\n\r\n"
      "xyz\r\nRESULT:OK\r\n");
  const TaHttp http = got(server.url());
  EXPECT_EQ(http.status(), 0);
  EXPECT_EQ(http.data(), nullptr);
}

TEST_F(HttpHostileTest, SpeaksAnotherProtocol) {
  LoopbackServer server("SSH-2.0-OpenSSH_9.2\r\n");
  const TaHttp http = got(server.url());
  EXPECT_EQ(http.status(), 0);
  EXPECT_EQ(http.data(), nullptr);
}

TEST_F(HttpHostileTest, NegativeLength) {
  LoopbackServer server("HTTP/1.1 200 OK\r\nContent-Length: -1\r\nConnection: close\r\n\r\nx");
  const TaHttp http = got(server.url());
  EXPECT_EQ(http.data() == nullptr, http.status() == 0);
}

// libcurl looks about once a second, and more often while something moves.
TEST_F(HttpHostileTest, HangsBeforeTheHead) {
  useLimits(silenceOf(200ms));
  LoopbackServer server([](Connection& connection, const std::string&) { connection.hang(); });
  const double seconds = secondsOf([&] { expectFailure(got(server.url()), timed_out); });
  EXPECT_GE(seconds, 0.2);
  EXPECT_LT(seconds, 5);
}

TEST_F(HttpHostileTest, HangsWithinTheBody) {
  useLimits(silenceOf(200ms));
  LoopbackServer server([](Connection& connection, const std::string&) {
    connection.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nRESULT");
    connection.hang();
  });
  const double seconds = secondsOf([&] { expectFailure(got(server.url()), timed_out); });
  EXPECT_GE(seconds, 0.2);
  EXPECT_LT(seconds, 5);
}

TEST_F(HttpHostileTest, HangsAfterARedirect) {
  useLimits(silenceOf(200ms));
  LoopbackServer server([](Connection& connection, const std::string& request) {
    if (lineOf(request) == "GET /from") {
      connection.send(response("302 Found", "", "Location: /to\r\n"));
    } else {
      connection.hang();
    }
  });
  EXPECT_LT(secondsOf([&] { expectFailure(got(server.url("/from")), timed_out); }), 5);
}

TEST_F(HttpHostileTest, NeverTakesTheConnection) {
  UrlLoaderLimits limits;
  limits.connect = 200ms;
  useLimits(limits);
  // A listener whose queue is full: the kernel drops what comes after.
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  void* place = &address;
  socklen_t length = sizeof(address);
  ASSERT_EQ(bind(listener, static_cast<sockaddr*>(place), length), 0);
  ASSERT_EQ(listen(listener, 0), 0);
  ASSERT_EQ(getsockname(listener, static_cast<sockaddr*>(place), &length), 0);
  std::array<int, 4> fillers{};
  for (int& filler : fillers) {
    filler = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    static_cast<void>(connect(filler, static_cast<sockaddr*>(place), length));
  }
  const std::string url = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/";
  EXPECT_LT(secondsOf([&] {
              const TaHttp http = got(url);
              expectFailure(http, timed_out);
              EXPECT_EQ(*http.error(),
                        "The server could not be reached within 200 milliseconds [28]");
            }),
            5);
  for (const int filler : fillers) close(filler);
  close(listener);
}

TEST_F(HttpHostileTest, HangsWithinTheHandshake) {
  UrlLoaderLimits limits;
  limits.connect = 200ms;
  useLimits(limits);
  LoopbackServer server([](Connection& connection, const std::string&) { connection.hang(); });
  expectFailure(got("https" + server.url().substr(4)), timed_out);
}

TEST_F(HttpHostileTest, SlowButAliveIsWaitedFor) {
  useLimits(silenceOf(1s));
  LoopbackServer server([](Connection& connection, const std::string&) {
    connection.send("HTTP/1.1 200 OK\r\nContent-Length: 8\r\nConnection: close\r\n\r\n");
    for (int i = 0; i < 8; ++i) {
      std::this_thread::sleep_for(150ms);
      connection.send("x");
    }
  });
  const double seconds = secondsOf([&] { EXPECT_STREQ(got(server.url()).data(), "xxxxxxxx"); });
  EXPECT_GT(seconds, 1) << "longer than the silence that is allowed";
}

TEST_F(HttpHostileTest, BodyAtTheLimitAndAboveIt) {
  UrlLoaderLimits limits;
  limits.body = 1000;
  useLimits(limits);
  LoopbackServer fitting(response("200 OK", std::string(1000, 'x')));
  EXPECT_EQ(got(fitting.url()).status(), 200);
  LoopbackServer too_much(response("200 OK", std::string(1001, 'x')));
  expectFailure(got(too_much.url()), too_long);
}

TEST_F(HttpHostileTest, BodyWithoutEnd) {
  UrlLoaderLimits limits;
  limits.body = 1U << 20U;
  useLimits(limits);
  LoopbackServer server([](Connection& connection, const std::string&) {
    const std::string piece(65536, 'x');
    if (!connection.send("HTTP/1.0 200 OK\r\n\r\n")) return;
    while (connection.send(piece)) {
    }
  });
  expectFailure(got(server.url()), too_long);
}

TEST_F(HttpHostileTest, FloodOfHeaders) {
  LoopbackServer server([](Connection& connection, const std::string&) {
    connection.send("HTTP/1.1 200 OK\r\n");
    const std::string header = "X-Flood: " + std::string(1000, 'x') + "\r\n";
    while (connection.send(header)) {
    }
  });
  const TaHttp http = got(server.url());
  EXPECT_EQ(http.status(), 0);
  EXPECT_EQ(http.data(), nullptr);
  EXPECT_TRUE(http.error() && http.error()->ends_with(']'));
}

TEST_F(HttpHostileTest, HeadersWithinTheLimitAndAboveIt) {
  UrlLoaderLimits limits;
  limits.headers = 2000;
  useLimits(limits);
  const auto withHeader = [](std::size_t size) {
    return response("200 OK", "body", "X-Long: " + std::string(size, 'x') + "\r\n");
  };
  LoopbackServer fitting(withHeader(1500));
  EXPECT_EQ(got(fitting.url()).status(), 200);
  LoopbackServer too_much(withHeader(2500));
  expectFailure(got(too_much.url()), too_long);
}

TEST_F(HttpHostileTest, FloodOfInterimAnswers) {
  LoopbackServer server([](Connection& connection, const std::string&) {
    while (connection.send("HTTP/1.1 100 Continue\r\n\r\n")) {
    }
  });
  const TaHttp http = got(server.url());
  EXPECT_EQ(http.status(), 0);
  EXPECT_EQ(http.data(), nullptr);
}

TEST_F(HttpHostileTest, HeaderLineWithoutEnd) {
  LoopbackServer server([](Connection& connection, const std::string&) {
    connection.send("HTTP/1.1 200 OK\r\nX-Long: ");
    const std::string piece(65536, 'x');
    while (connection.send(piece)) {
    }
  });
  const TaHttp http = got(server.url());
  EXPECT_EQ(http.status(), 0);
  EXPECT_EQ(http.data(), nullptr);
}

TEST_F(HttpHostileTest, ZeroBytesEverywhere) {
  const std::string body("RESULT:OK\0\r\nVERSION:7200\r\n", 26);
  LoopbackServer server(response("200 OK", body, std::string("X-Zero: a\0b\r\n", 13)));
  const TaHttp http = got(server.url());
  EXPECT_EQ(http.data() == nullptr, http.status() == 0);
  LoopbackServer body_alone(response("200 OK", body));
  const TaHttp good = got(body_alone.url());
  ASSERT_NE(good.data(), nullptr);
  EXPECT_EQ(std::memcmp(good.data(), body.data(), body.size()), 0);
}

TEST_F(HttpHostileTest, PackedBodyIsNotUnpacked) {
  const std::string packed("\x1F\x8B\x08\0\0\0\0\0\0\x03", 10);
  LoopbackServer server(response("200 OK", packed, "Content-Encoding: gzip\r\n"));
  const TaHttp http = got(server.url());
  EXPECT_EQ(http.status(), 200);
  ASSERT_NE(http.data(), nullptr);
  EXPECT_EQ(std::memcmp(http.data(), packed.data(), packed.size()), 0);
}

TEST_F(HttpHostileTest, ClientIsUsableAfterEveryFailure) {
  LoopbackServer bad("garbage");
  LoopbackServer good(response("200 OK", "good"));
  TaHttp http = client();
  for (int i = 0; i < 3; ++i) {
    http.get(bad.url());
    EXPECT_EQ(http.status(), 0);
    http.get(good.url());
    EXPECT_EQ(http.status(), 200);
    EXPECT_STREQ(http.data(), "good");
  }
}

}  // namespace
}  // namespace talvane::test
