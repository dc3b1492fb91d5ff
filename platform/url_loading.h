#pragma once

// The process-wide URL loading service. All requests of the process share cookies, in memory only.
// The service follows redirects, but never from https to http, and repeats a POST (307, 308) only
// to the same scheme, host and port; uses TLS 1.2 or newer; verifies certificates against the
// system's trust store, or the file in the environment variable SSL_CERT_FILE; and takes proxies
// from the environment, as libcurl does. A request ends when it reaches one of its limits.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "engine/cleared.h"

namespace talvane {

/// One request. With a body, sent unchanged, it is a POST.
struct UrlRequest {
  std::string url;
  std::optional<Cleared<std::string>> body;
};

/// The result of a request.
struct UrlResponse {
  /// Why there was no response: a text for the user, and libcurl's CURLcode.
  struct Error {
    std::string description;
    long code = 0;
  };
  /// The error of a request that was cancelled, or that met a loader that has stopped.
  static constexpr const char* cancelled = "The request was cancelled";
  static constexpr long cancelled_code = 42;
  long status = 0;                           // of the last response; 0 if there was none
  std::optional<Cleared<std::string>> body;  // nullopt if the request failed
  std::optional<Error> error;
  /// The server's clock, seconds since the Unix epoch, from the "Date" header of the last response.
  std::optional<std::int64_t> date;
};

class UrlLoader {
 public:
  virtual ~UrlLoader() = default;
  /// Blocks until the response arrives or the request fails. Any thread, several at a time.
  virtual UrlResponse load(const UrlRequest& request) = 0;
  /// Deletes the cookies for the URL.
  virtual void deleteCookies(const std::string& url) = 0;
  /// Cancels the requests under way with an error, at once. Any thread.
  virtual void cancel() = 0;
  /// Cancels all current and future requests with an error. Any thread.
  virtual void stop() = 0;
};

/// The words of an error say which limit was reached.
struct UrlLoaderLimits {
  std::chrono::milliseconds connect = std::chrono::seconds(30);  // name lookup and TLS included
  std::chrono::milliseconds silence = std::chrono::seconds(60);  // from then on
  std::chrono::milliseconds whole = std::chrono::minutes(3);     // redirects included
  std::size_t body = std::size_t{16} << 20;    // bytes of all responses to a request
  std::size_t headers = std::size_t{1} << 20;  // bytes of all headers of a response
  int redirects = 16;
};

/// The words of an error in the user's language, as far as they are ours.
std::string urlErrorWords(const std::string& description);

/// The loader, from a module that is loaded on first use. On failure returns null and sets
/// `*error`, for the user.
std::unique_ptr<UrlLoader> makeUrlLoader(std::string* error, const UrlLoaderLimits& limits = {});

}  // namespace talvane
