// Ending requests from outside, and several requests at a time.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tests/enrol/http_test.h"

namespace talvane::test {
namespace {

using namespace std::chrono_literals;
using Connection = LoopbackServer::Connection;
using HttpEndingTest = HttpTest;

/// Ends the loader as soon as the server has a request; seconds from then to the request's end.
double secondsToEnd(UrlLoader& loader, const LoopbackServer& server, TaHttp* http) {
  std::chrono::steady_clock::time_point stopped;
  std::thread stopper([&] {
    while (server.requests().empty()) std::this_thread::sleep_for(1ms);
    std::this_thread::sleep_for(50ms);
    stopped = std::chrono::steady_clock::now();
    loader.stop();
  });
  http->get(server.url());
  const auto ended = std::chrono::steady_clock::now();
  stopper.join();
  return std::chrono::duration<double>(ended - stopped).count();
}

TEST_F(HttpEndingTest, StopEndsARequestThatHangs) {
  LoopbackServer server([](Connection& connection, const std::string&) { connection.hang(); });
  TaHttp http = client();
  EXPECT_LT(secondsToEnd(*loader, server, &http), 2.5);
  expectFailure(http, aborted);
}

TEST_F(HttpEndingTest, StopEndsARequestWithinTheBody) {
  LoopbackServer server([](Connection& connection, const std::string&) {
    connection.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nRESULT");
    connection.hang();
  });
  TaHttp http = client();
  EXPECT_LT(secondsToEnd(*loader, server, &http), 2.5);
  expectFailure(http, aborted);
}

TEST_F(HttpEndingTest, StopEndsAChainOfRedirects) {
  UrlLoaderLimits limits;
  limits.redirects = 1000000;
  useLimits(limits);
  LoopbackServer server(response("302 Found", "", "Location: /again\r\n"));
  TaHttp http = client();
  EXPECT_LT(secondsToEnd(*loader, server, &http), 2.5);
  expectFailure(http, aborted);
}

TEST_F(HttpEndingTest, RequestsAfterAStopFail) {
  LoopbackServer server(response("200 OK", "late"));
  TaHttp http = client();
  loader->stop();
  loader->stop();
  http.get(server.url());
  expectFailure(http, aborted);
  http.clearcookies(server.url());
}

TEST_F(HttpEndingTest, StopEndsSeveralAtOnce) {
  LoopbackServer server([](Connection& connection, const std::string&) { connection.hang(); });
  std::vector<std::thread> threads;
  std::atomic<int> failed = 0;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      TaHttp http(loader);
      http.get(server.url());
      if (http.status() == 0 && http.error()->ends_with("[42]")) ++failed;
    });
  }
  while (server.requests().size() < 4) std::this_thread::sleep_for(1ms);
  const double seconds = secondsOf([&] {
    loader->stop();
    for (std::thread& thread : threads) thread.join();
  });
  EXPECT_LT(seconds, 2.5);
  EXPECT_EQ(failed, 4);
}

TEST_F(HttpEndingTest, OneSlowRequestDoesNotHoldUpAnother) {
  LoopbackServer slow([](Connection& connection, const std::string&) { connection.hang(); });
  LoopbackServer quick(response("200 OK", "quick"));
  std::thread waiting([&] { got(slow.url()); });
  while (slow.requests().empty()) std::this_thread::sleep_for(1ms);
  EXPECT_EQ(got(quick.url()).status(), 200);
  loader->stop();
  waiting.join();
}

TEST_F(HttpEndingTest, TwoThreadsGetTheirOwnAnswersAndShareCookies) {
  LoopbackServer server([](Connection& connection, const std::string& request) {
    const std::string path = lineOf(request).substr(4);
    connection.send(
        response("200 OK", "for " + path, "Set-Cookie: last=" + path.substr(1) + "; Path=/\r\n"));
  });
  constexpr int rounds = 50;
  std::atomic<int> right = 0;
  const auto work = [&](const std::string& name) {
    TaHttp http(loader);
    for (int i = 0; i < rounds; ++i) {
      const std::string path = "/" + name + std::to_string(i);
      http.get(server.url(path));
      if (http.status() == 200 && std::string(http.data()) == "for " + path) ++right;
      if (i % 10 == 9) http.clearcookies(server.url());
    }
  };
  std::thread first(work, "a");
  std::thread second(work, "b");
  first.join();
  second.join();
  EXPECT_EQ(right, 2 * rounds);
}

TEST_F(HttpEndingTest, LoaderLivesAsLongAsItsLastClient) {
  LoopbackServer server(response("200 OK", "still here"));
  TaHttp http = client();
  loader.reset();
  http.get(server.url());
  EXPECT_EQ(http.status(), 200);
}

}  // namespace
}  // namespace talvane::test
