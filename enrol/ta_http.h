#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "engine/cleared.h"
#include "platform/url_loading.h"

namespace talvane {

/// Performs one blocking request at a time and keeps its result. The URL loading service handles
/// time limits, redirects, headers and cookies. Not thread-safe.
class TaHttp {
 public:
  /// Shares ownership of the service. If it is null, every request fails with the error
  /// `unavailable`.
  explicit TaHttp(std::shared_ptr<UrlLoader> loader, std::string unavailable = "");

  void get(const std::string& url) { common(url, std::nullopt); }
  void post(const std::string& url, const Cleared<std::string>& postdata) { common(url, postdata); }
  /// Without a body a GET, with one a POST. Sends as many bytes of the body as it has characters
  /// (UTF-16 units): a body that is not ASCII is cut short.
  void common(const std::string& url, const std::optional<Cleared<std::string>>& postdata);
  /// Deletes the cookies that would be sent to the URL.
  void clearcookies(const std::string& url);

  /// HTTP status of the last request; 0 if there was no response.
  [[nodiscard]] long status() const { return status_; }
  void setStatus(long status) { status_ = status; }
  /// Body of the last response, followed by a NUL; null if there was none. Valid until the next
  /// request.
  [[nodiscard]] const char* data() const { return data_ ? data_->get().c_str() : nullptr; }
  void setData(std::optional<Cleared<std::string>> data) { data_ = std::move(data); }
  /// Error of the last request as "DESCRIPTION [CODE]", or "(null) [0]" if it succeeded; nullopt
  /// before the first request.
  [[nodiscard]] const std::optional<std::string>& error() const { return error_; }
  void setError(std::optional<std::string> error) { error_ = std::move(error); }
  /// The server's clock at the last request, seconds since the Unix epoch.
  [[nodiscard]] const std::optional<std::int64_t>& date() const { return date_; }

 private:
  std::shared_ptr<UrlLoader> loader_;
  std::string unavailable_;
  long status_ = 0;
  std::optional<Cleared<std::string>> data_;
  std::optional<std::string> error_;
  std::optional<std::int64_t> date_;
};

}  // namespace talvane
