#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>

#include "enrol/ta_http.h"
#include "tests/enrol/loopback_server.h"
#include "tests/support/private_home.h"

namespace talvane::test {

/// The real loader, without the proxies and the trust store of whoever runs the tests.
class HttpTest : public testing::Test {
 protected:
  HttpTest() {
    for (const char* name : {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY",
                             "no_proxy", "SSL_CERT_FILE"}) {
      home.environment.unset(name);
    }
    useLimits({});
  }

  void useLimits(const UrlLoaderLimits& limits) {
    std::string error;
    loader = makeUrlLoader(&error, limits);
    ASSERT_NE(loader, nullptr) << error;
  }

  /// Makes the certificate the one that requests trust, in place of the system's.
  void trust(const std::string& certificate) { home.environment.set("SSL_CERT_FILE", certificate); }

  static UrlLoaderLimits silenceOf(std::chrono::milliseconds silence) {
    UrlLoaderLimits limits;
    limits.silence = silence;
    return limits;
  }

  /// A client that shares the loader.
  TaHttp client() { return TaHttp(loader); }

  /// The outcome of one GET.
  TaHttp got(const std::string& url) {
    TaHttp http(loader);
    http.get(url);
    return http;
  }

  /// That there was no response, and the error's number (of libcurl's, from its documentation).
  static void expectFailure(const TaHttp& http, int code) {
    EXPECT_EQ(http.status(), 0);
    EXPECT_EQ(http.data(), nullptr);
    ASSERT_TRUE(http.error().has_value());
    const std::string number = " [" + std::to_string(code) + "]";
    EXPECT_TRUE(http.error()->ends_with(number)) << *http.error();
    EXPECT_GT(http.error()->size(), number.size()) << "it says why";
  }

  PrivateHome home;
  std::shared_ptr<UrlLoader> loader;
};

/// Seconds that something took.
template <class Work>
double secondsOf(const Work& work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// Numbers of libcurl's errors, libcurl-errors(3).
inline constexpr int cannot_resolve = 6;
inline constexpr int cannot_connect = 7;
inline constexpr int partial_file = 18;
inline constexpr int timed_out = 28;
inline constexpr int cannot_secure = 35;
inline constexpr int aborted = 42;
inline constexpr int too_many_redirects = 47;
inline constexpr int got_nothing = 52;
inline constexpr int receive_error = 56;
inline constexpr int bad_certificate = 60;
inline constexpr int too_long = 63;
inline constexpr int unsupported_protocol = 1;

}  // namespace talvane::test
