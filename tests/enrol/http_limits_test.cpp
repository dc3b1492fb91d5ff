// The limits of a request, and that each error says which one it was.

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "platform/curl/limit_words.h"
#include "tests/enrol/http_test.h"

namespace talvane::test {
namespace {

using namespace std::chrono_literals;
using Connection = LoopbackServer::Connection;
using HttpLimitsTest = HttpTest;

const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n";

/// Seconds from the cancellation to the request's end.
double secondsToCancel(UrlLoader& loader, const LoopbackServer& server, TaHttp* http) {
  std::chrono::steady_clock::time_point cancelled;
  std::thread canceller([&] {
    while (server.requests().empty()) std::this_thread::sleep_for(1ms);
    std::this_thread::sleep_for(50ms);
    cancelled = std::chrono::steady_clock::now();
    loader.cancel();
  });
  http->get(server.url());
  const auto ended = std::chrono::steady_clock::now();
  canceller.join();
  return std::chrono::duration<double>(ended - cancelled).count();
}

TEST_F(HttpLimitsTest, DefaultsAreThosePromised) {
  const UrlLoaderLimits limits;
  EXPECT_EQ(limits.connect, 30s);
  EXPECT_EQ(limits.silence, 60s);
  EXPECT_EQ(limits.whole, 180s);
  EXPECT_EQ(limits.body, 16'777'216U);
}

TEST_F(HttpLimitsTest, ServerThatNeverAnswersTheHandshakeIsNotReached) {
  UrlLoaderLimits limits;
  limits.connect = 200ms;
  useLimits(limits);
  LoopbackServer server([](Connection& connection, const std::string&) { connection.hang(); });
  const TaHttp http = got("https" + server.url().substr(4));
  expectFailure(http, timed_out);
  EXPECT_EQ(*http.error(), "The server could not be reached within 200 milliseconds [28]");
}

TEST_F(HttpLimitsTest, SilenceBeforeTheAnswer) {
  useLimits(silenceOf(200ms));
  LoopbackServer server([](Connection& connection, const std::string&) { connection.hang(); });
  const TaHttp http = got(server.url());
  expectFailure(http, timed_out);
  EXPECT_EQ(*http.error(), "The server has sent nothing for 200 milliseconds [28]");
}

TEST_F(HttpLimitsTest, SilenceWithinTheAnswer) {
  useLimits(silenceOf(1s));
  LoopbackServer server([](Connection& connection, const std::string&) {
    connection.send(head + "RESULT");
    connection.hang();
  });
  const TaHttp http = got(server.url());
  expectFailure(http, timed_out);
  EXPECT_EQ(*http.error(), "The server has sent nothing for 1 second [28]");
}

TEST_F(HttpLimitsTest, ServerThatIsNeverSilentReachesTheLimitOnTheWhole) {
  UrlLoaderLimits limits;
  limits.whole = 500ms;
  limits.silence = 400ms;
  useLimits(limits);
  LoopbackServer server([](Connection& connection, const std::string&) {
    connection.send(head);
    while (connection.send("#")) std::this_thread::sleep_for(10ms);
  });
  TaHttp http = client();
  const double seconds = secondsOf([&] { http.get(server.url()); });
  expectFailure(http, timed_out);
  EXPECT_EQ(*http.error(), "The request took longer than 500 milliseconds [28]");
  EXPECT_GE(seconds, 0.5);
  EXPECT_LT(seconds, 3);
}

TEST_F(HttpLimitsTest, RedirectsShareTheLimitOnTheWhole) {
  UrlLoaderLimits limits;
  limits.whole = 500ms;
  limits.redirects = 1'000'000;
  useLimits(limits);
  LoopbackServer server([](Connection& connection, const std::string&) {
    std::this_thread::sleep_for(20ms);
    connection.send(response("302 Found", "", "Location: /again\r\n"));
  });
  const TaHttp http = got(server.url());
  expectFailure(http, timed_out);
  EXPECT_EQ(*http.error(), "The request took longer than 500 milliseconds [28]");
}

TEST_F(HttpLimitsTest, RedirectsShareTheLimitOnTheBody) {
  UrlLoaderLimits limits;
  limits.body = 1500;
  useLimits(limits);
  LoopbackServer server([](Connection& connection, const std::string& request) {
    const bool first = lineOf(request) == "GET /";
    connection.send(response(first ? "302 Found" : "200 OK", std::string(1000, '#'),
                             first ? "Location: /next\r\n" : ""));
  });
  const TaHttp http = got(server.url());
  expectFailure(http, too_long);
  EXPECT_EQ(*http.error(), "The server's response is longer than 1500 bytes [63]");
  EXPECT_EQ(got(server.url("/next")).status(), 200) << "each request has its own";
}

TEST_F(HttpLimitsTest, LimitsAreToldInTheLargestUnit) {
  UrlLoaderLimits limits;
  limits.body = 2U << 20U;
  useLimits(limits);
  LoopbackServer server(response("200 OK", std::string((2U << 20U) + 1, '#')));
  const TaHttp http = got(server.url());
  EXPECT_EQ(*http.error(), "The server's response is longer than 2 MB [63]");
}

TEST(LimitWords, TimesInTheLargestUnitThatIsExact) {
  const std::pair<std::chrono::milliseconds, const char*> times[] = {
      {1ms, "1 millisecond"}, {250ms, "250 milliseconds"}, {1500ms, "1500 milliseconds"},
      {1s, "1 second"},       {30s, "30 seconds"},         {60s, "60 seconds"},
      {90s, "90 seconds"},    {119s, "119 seconds"},       {120s, "2 minutes"},
      {121s, "121 seconds"},  {180s, "3 minutes"},         {120'001ms, "120001 milliseconds"},
      {1h, "60 minutes"},
  };
  for (const auto& [time, words] : times) EXPECT_EQ(inWords(time), words);
}

TEST(LimitWords, SizesInMegabytesWhereExact) {
  constexpr std::size_t megabyte = std::size_t{1} << 20U;
  const std::pair<std::size_t, const char*> sizes[] = {
      {1500, "1500 bytes"},     {megabyte - 1, "1048575 bytes"}, {megabyte, "1 MB"},
      {16 * megabyte, "16 MB"}, {megabyte + 1, "1048577 bytes"},
  };
  for (const auto& [size, words] : sizes) EXPECT_EQ(inWords(size), words);
}

TEST_F(HttpLimitsTest, CancelEndsARequestAtOnceAndSparesLaterOnes) {
  LoopbackServer silent([](Connection& connection, const std::string&) { connection.hang(); });
  LoopbackServer quick(response("200 OK", "quick"));
  TaHttp http = client();
  // libcurl by itself looks once a second.
  EXPECT_LT(secondsToCancel(*loader, silent, &http), 0.5);
  expectFailure(http, aborted);
  EXPECT_EQ(*http.error(), "The request was cancelled [42]");
  EXPECT_EQ(got(quick.url()).status(), 200);
}

TEST_F(HttpLimitsTest, CancelEndsARequestWithinTheBody) {
  LoopbackServer server([](Connection& connection, const std::string&) {
    connection.send(head + "RESULT");
    connection.hang();
  });
  TaHttp http = client();
  EXPECT_LT(secondsToCancel(*loader, server, &http), 0.5);
  expectFailure(http, aborted);
}

TEST_F(HttpLimitsTest, CancelEndsAnEndlessAnswer) {
  LoopbackServer server([](Connection& connection, const std::string&) {
    connection.send("HTTP/1.1 200 OK\r\n\r\n");
    while (connection.send("#")) std::this_thread::sleep_for(1ms);
  });
  TaHttp http = client();
  EXPECT_LT(secondsToCancel(*loader, server, &http), 0.5);
  expectFailure(http, aborted);
}

TEST_F(HttpLimitsTest, CancelWithoutRequestsIsHarmless) {
  LoopbackServer quick(response("200 OK", "quick"));
  loader->cancel();
  EXPECT_EQ(got(quick.url()).status(), 200);
}

}  // namespace
}  // namespace talvane::test
