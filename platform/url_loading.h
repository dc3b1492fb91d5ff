#pragma once

// The process-wide URL loading service. Cookies are shared by all requests of the process and kept
// in memory only; redirects are followed, but never from https to http; certificates are verified
// against the system's trust store, or the file that the environment variable SSL_CERT_FILE names;
// proxies are taken from the environment as libcurl does. A request that neither sends nor receives
// anything for a minute ends.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace talvane {

/// One request. A body makes it a POST, and is sent as it is.
struct UrlRequest {
  std::string url;
  std::optional<std::string> body;
};

/// What came of it.
struct UrlResponse {
  /// Why there was no response: a text for the user and the library's number (libcurl, CURLcode).
  struct Error {
    std::string description;
    long code = 0;
  };
  long status = 0;                  // of the last response; 0: there was none
  std::optional<std::string> body;  // nullopt: the request failed
  std::optional<Error> error;
  /// The server's clock, seconds since the Unix epoch, from the "Date" header of the last response.
  std::optional<std::int64_t> date;
};

class UrlLoader {
 public:
  virtual ~UrlLoader() = default;
  /// Blocks until the response is there or the request has failed. Any thread, several at a time.
  virtual UrlResponse load(const UrlRequest& request) = 0;
  /// Deletes the cookies that would be sent to the URL.
  virtual void deleteCookies(const std::string& url) = 0;
  /// Ends all requests under way, and those to come, with an error. Any thread.
  virtual void stop() = 0;
};

struct UrlLoaderLimits {
  std::chrono::milliseconds silence = std::chrono::seconds(60);
  std::size_t body = std::size_t{64} << 20;    // bytes of a response
  std::size_t headers = std::size_t{1} << 20;  // bytes of all headers of a response
  int redirects = 16;
};

/// The loader, from a module that is loaded when first needed; null with `*error` set, for the
/// user, when that cannot be had.
std::unique_ptr<UrlLoader> makeUrlLoader(std::string* error, const UrlLoaderLimits& limits = {});

}  // namespace talvane
